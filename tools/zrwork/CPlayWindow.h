#pragma once
// zrwork's preview window: shows a running player's frames (fetched with its "curFrame"
// question), a position slider that seeks, and a pause button. Closing the window, the
// end of the run or Ctrl-C asks the player to stop and closes it.

#include <QPixmap>
#include <QWidget>

class CDetWork;
class QLabel;
class QPushButton;
class QSlider;

class CPlayWindow : public QWidget
{
    Q_OBJECT
public:
    // The work must be a started player; the window never releases it.
    explicit CPlayWindow(CDetWork* work, const QString& title, QWidget* parent = nullptr);

    // Where the picture is drawn, in the window's coordinates (empty before the first frame).
    QRect FrameRect() const;
    // The frame number on screen, -1 before the first.
    qint64 ShownFrame() const { return m_nShownFrame; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void Poll();
    void ShowPicture();
    void TogglePause();
    void Seek(int ms);

    CDetWork* m_pWork;
    QLabel* m_pFrame;
    QSlider* m_pSlider;
    QPushButton* m_pPause;
    QLabel* m_pTime;
    QImage m_image;
    qint64 m_nShownFrame = -1;
    qint64 m_nShownTime = -1;
    qint64 m_nDuration = -1;
    bool m_bPaused = false;
};
