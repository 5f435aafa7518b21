#include "CPlayWindow.h"

#include "AskWork.h"
#include "CCliHost.h"
#include "CDetWork.h"

#include <QBoxLayout>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTimer>

namespace {

// Often enough for 60 frames a second; each look is one short question to the player.
constexpr int kPollMs = 15;

QString Clock(qint64 ms)
{
    return QStringLiteral("%1:%2.%3")
        .arg(ms / 60000, 2, 10, QLatin1Char('0'))
        .arg(ms / 1000 % 60, 2, 10, QLatin1Char('0'))
        .arg(ms % 1000 / 100);
}

} // namespace

CPlayWindow::CPlayWindow(CDetWork* work, const QString& title, QWidget* parent)
    : QWidget(parent)
    , m_pWork(work)
    , m_pFrame(new QLabel(this))
    , m_pSlider(new QSlider(Qt::Horizontal, this))
    , m_pPause(new QPushButton(tr("Pause"), this))
    , m_pTime(new QLabel(this))
{
    setWindowTitle(title);
    m_pFrame->setAlignment(Qt::AlignCenter);
    m_pFrame->setMinimumSize(320, 240);
    m_pFrame->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    m_pFrame->setStyleSheet(QStringLiteral("background: black"));
    m_pSlider->setEnabled(false); // until the media's length is known (never for a device)
    m_pPause->setFocusPolicy(Qt::NoFocus);
    m_pTime->setText(Clock(0));

    auto* controls = new QHBoxLayout;
    controls->addWidget(m_pPause);
    controls->addWidget(m_pSlider, 1);
    controls->addWidget(m_pTime);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pFrame, 1);
    layout->addLayout(controls);

    connect(m_pPause, &QPushButton::clicked, this, &CPlayWindow::TogglePause);
    // Clicks and drags seek; the player's own position moves the slider silently.
    connect(m_pSlider, &QSlider::sliderMoved, this, &CPlayWindow::Seek);
    connect(m_pSlider, &QSlider::actionTriggered, this, [this](int action) {
        if (action != QAbstractSlider::SliderMove)
            Seek(m_pSlider->sliderPosition());
    });
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &CPlayWindow::Poll);
    timer->start(kPollMs);
    resize(640, 520);
}

QRect CPlayWindow::FrameRect() const
{
    const QPixmap pixmap = m_pFrame->pixmap(Qt::ReturnByValue);
    if (pixmap.isNull())
        return QRect();
    QRect rect(QPoint(0, 0), pixmap.size());
    rect.moveCenter(m_pFrame->geometry().center());
    return rect;
}

void CPlayWindow::Poll()
{
    if (m_pWork->IsFinished() || CCliHost::Interrupted()) {
        close();
        return;
    }
    if (m_nDuration < 0) {
        const QVariantMap info = zrcli::AskWork(m_pWork, {{QStringLiteral("type"), QStringLiteral("info")}});
        if (!info.isEmpty()) {
            m_nDuration = info.value(QStringLiteral("nDuration")).toLongLong();
            m_pSlider->setRange(0, static_cast<int>(m_nDuration));
            m_pSlider->setEnabled(m_nDuration > 0);
        }
    }
    const QVariantMap frame = zrcli::AskWork(m_pWork, {{QStringLiteral("type"), QStringLiteral("curFrame")}});
    if (frame.isEmpty())
        return;
    m_bPaused = frame.value(QStringLiteral("bPaused")).toBool();
    m_pPause->setText(m_bPaused ? tr("Play") : tr("Pause"));
    const qint64 number = frame.value(QStringLiteral("nFrame")).toLongLong();
    const qint64 time = frame.value(QStringLiteral("nTime")).toLongLong();
    const QImage image = frame.value(QStringLiteral("desImage")).value<QImage>();
    // A new frame, or (while paused) the held one filtered anew.
    if (number == m_nShownFrame && time == m_nShownTime && (!m_bPaused || image == m_image))
        return;
    m_nShownFrame = number;
    m_nShownTime = time;
    m_image = image;
    ShowPicture();
    if (!m_pSlider->isSliderDown())
        m_pSlider->setValue(static_cast<int>(time));
    m_pTime->setText(m_nDuration > 0 ? Clock(time) + QStringLiteral(" / ") + Clock(m_nDuration) : Clock(time));
}

void CPlayWindow::ShowPicture()
{
    if (m_image.isNull())
        return;
    m_pFrame->setPixmap(QPixmap::fromImage(m_image).scaled(m_pFrame->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

void CPlayWindow::TogglePause()
{
    zrcli::AskWork(m_pWork, {{QStringLiteral("type"), m_bPaused ? QStringLiteral("resume") : QStringLiteral("pause")}});
    m_bPaused = !m_bPaused;
    m_pPause->setText(m_bPaused ? tr("Play") : tr("Pause"));
}

void CPlayWindow::Seek(int ms)
{
    zrcli::AskWork(m_pWork, {{QStringLiteral("type"), QStringLiteral("seek")}, {QStringLiteral("nTime"), ms}});
}

void CPlayWindow::closeEvent(QCloseEvent* event)
{
    m_pWork->StopWork();
    event->accept();
}

void CPlayWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space)
        TogglePause();
    else if (event->key() == Qt::Key_Escape)
        close();
    else
        QWidget::keyPressEvent(event);
}

void CPlayWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    ShowPicture();
}
