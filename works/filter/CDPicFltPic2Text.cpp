#include "works/filter/CDPicFltPic2Text.h"

#include "base/CLogWriter.h"
#include "base/PubUtils.h"
#include "work/CProcessWork.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QScopeGuard>
#include <QTextStream>

using WorkBaseData::PubUtils;

namespace {

CWorkBase::Guards PictureGuards()
{
    CWorkBase::Guards guards;
    guards.sInputWord = "read_image_failed";
    // A folder that cannot be made shows when the picture cannot be written into it.
    guards.bMakeSaveDir = false;
    return guards;
}

} // namespace

CDPicFltPic2Text::CDPicFltPic2Text()
    : CWorkBase(15, PictureGuards())
{
}

QStringList CDPicFltPic2Text::RecogniserArguments(const QString& imagePath)
{
    return QStringList{QStringLiteral("--models"), QStringLiteral("models"),
                       QStringLiteral("--det"), QStringLiteral("dbnet.onnx"),
                       QStringLiteral("--cls"), QStringLiteral("angle_net.onnx"),
                       QStringLiteral("--rec"), QStringLiteral("crnn_lite_lstm.onnx"),
                       QStringLiteral("--keys"), QStringLiteral("keys.txt"),
                       QStringLiteral("--image"), imagePath};
}

void CDPicFltPic2Text::CopyResultLines(QTextStream& in, QTextStream& out)
{
    bool started = false;
    QString line;
    while (in.readLineInto(&line)) {
        if (started)
            out << line << '\n';
        else if (line.contains(QLatin1String("FullDetectTime")))
            started = true;
    }
}

void CDPicFltPic2Text::Stop(const char* resMsg, const char* what, const QString& path)
{
    m_mapResult.insert(QStringLiteral("resMsg"), QString::fromLatin1(resMsg));
    ZRLOG(WorkBaseData::LOG_WARN, FuncName("DoWork").constData(), "%s %s", what, path.toUtf8().constData());
}

void CDPicFltPic2Text::DoWork()
{
    const QString& sFile = InputFile();
    const QString& sSaveDir = SaveDir();
    const QString sWorkPath = m_mapParams.value(QStringLiteral("sWorkPath")).toString();
    const QString sWorkExc = m_mapParams.value(QStringLiteral("sWorkExc")).toString();

    bool reserved = false;
    const QString outFile =
        PubUtils::MakeUniqueFilePath(sSaveDir, QFileInfo(sFile).baseName(), QStringLiteral(".txt"), &reserved);
    // The name is held from the start (an empty file); a run that fails gives it back.
    auto dropOut = qScopeGuard([&] {
        if (reserved)
            QFile::remove(outFile);
    });
    // Absolute, because the recogniser runs in its own folder.
    const QString tempDir = QFileInfo(PubUtils::MakeTempWorkDir(sSaveDir)).absoluteFilePath();
    const QString jpg = tempDir + QStringLiteral("/1.jpg");
    const QString result = tempDir + QStringLiteral("/1.jpg-result.txt");
    QFile::remove(jpg);
    QFile::remove(result);

    // QImage rather than QPixmap: a pixmap needs a GUI application and the GUI thread, and
    // this runs on the work's own thread in hosts that may have neither. It decodes the same.
    QImage image;
    if (!image.load(sFile))
        return Stop("read_image_failed", "load image failed", sFile);
    // JPEG has no alpha: transparent pixels would turn black, and so would dark text
    // drawn on them. The picture is laid on white first.
    if (image.hasAlphaChannel()) {
        QImage flat(image.size(), QImage::Format_RGB32);
        flat.fill(Qt::white);
        QPainter painter(&flat);
        painter.drawImage(0, 0, image);
        painter.end();
        image = flat;
    }
    if (!image.save(jpg))
        return Stop("save_image_failed", "save image failed", jpg);

    CProcessWork::ExecProcess(sWorkExc, RecogniserArguments(jpg), sWorkPath);
    // A stop (which ends the recogniser) is no failure whose traces are kept.
    if (!m_bWorking) {
        PubUtils::RemoveDir(tempDir);
        return Stop("task_stopped", "stopped", sFile);
    }
    if (!QFileInfo::exists(result))
        return Stop("recog_image_failed", "recog image failed", result);

    QFile in(result);
    if (!in.open(QIODevice::ReadOnly | QIODevice::Text))
        return Stop("read_result_failed", "read txt failed", result);
    QFile out(outFile);
    if (!out.open(QIODevice::ReadWrite | QIODevice::Text))
        return Stop("write_result_failed", "write txt failed", outFile);
    {
        QTextStream inText(&in);
        QTextStream outText(&out);
        inText.setCodec("UTF-8");
        outText.setCodec("UTF-8");
        CopyResultLines(inText, outText);
    }
    in.close();
    // A text cut short (a full disk) is no result. No text at all is one: nothing was read.
    if (!out.flush() || out.error() != QFile::NoError) {
        out.close();
        QFile::remove(outFile);
        return Stop("write_result_failed", "write txt failed", outFile);
    }
    out.close();
    dropOut.dismiss();
    m_mapResult.insert(QStringLiteral("sOutFile"), outFile);
    PubUtils::RemoveDir(tempDir);
}
