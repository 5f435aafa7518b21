#include "work/FFmpegOps.h"

#include "base/PubUtils.h"
#include "work/CProcessWork.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtMath>
#include <QRegExp>
#include <QStandardPaths>
#include <QStringList>

using WorkBaseData::PubUtils;

namespace {

const QString kPadEven = QStringLiteral("pad=ceil(iw/2)*2:ceil(ih/2)*2");

QString str(const QVariantMap& args, const char* key)
{
    return args.value(QLatin1String(key)).toString();
}

// Runs ffmpeg once with an inherited working directory unless one is given; true when
// it exited with 0 and wrote its output whole (it exits with 0 on a full disk, too).
bool runFFmpeg(const QStringList& arguments, const QString& workDir = QString())
{
    CProcessWork work;
    work.StartTask(FFmpegOps::FFmpegPath(), arguments, workDir);
    return work.Succeeded() && !FFmpegOps::ReportsWriteError(work.GetStdErr());
}

// An output counts when ffmpeg ended well and left a non-empty file. Whatever a failed run
// left (a segment cut short by a full disk, say) is removed rather than passed off as a
// result: the outputs are always names the caller has just chosen.
bool written(bool ran, const QString& outFile)
{
    if (ran)
        return PubUtils::KeepOutput(outFile);
    if (QFileInfo(outFile).isFile())
        QFile::remove(outFile);
    return false;
}

} // namespace

namespace {

// The application folder's ffmpeg, or the one on the PATH; empty when there is none.
QString FindFFmpeg()
{
    const QString local = PubUtils::GetAppDir() + QStringLiteral("/ffmpeg");
#if defined(Q_OS_WIN)
    const bool bLocal = QFileInfo(local).isFile() || QFileInfo(local + QStringLiteral(".exe")).isFile();
#else
    const bool bLocal = QFileInfo(local).isFile();
#endif
    return bLocal ? local : QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
}

} // namespace

QString FFmpegOps::FFmpegPath()
{
    const QString found = FindFFmpeg();
    // With no ffmpeg anywhere the start fails and the log names the expected place.
    return found.isEmpty() ? PubUtils::GetAppDir() + QStringLiteral("/ffmpeg") : found;
}

bool FFmpegOps::FFmpegFound()
{
    return !FindFFmpeg().isEmpty();
}

bool FFmpegOps::ConcatFiles(const QVariantMap& args)
{
    const QStringList inFiles = args.value(QStringLiteral("inFile")).toStringList();
    const QString outFile = str(args, "outFile");
    const QString workPath = str(args, "workPath");
    if (inFiles.isEmpty() || outFile.isEmpty() || workPath.isEmpty())
        return false;

    QStringList arguments {QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("concat"),
                           QStringLiteral("-safe"), QStringLiteral("0"), QStringLiteral("-i")};
    // Every item goes straight after "-i": callers pass one list file, relative to workPath.
    arguments << inFiles;
    arguments << QStringLiteral("-acodec") << QStringLiteral("copy") << QStringLiteral("-vcodec")
              << QStringLiteral("copy") << outFile;
    return written(runFFmpeg(arguments, workPath), outFile);
}

QVariant FFmpegOps::DetectSilence(const QVariantMap& args, DetectInfo* pInfo)
{
    const QString inFile = str(args, "inFile");
    const int nDecibel = qMax(1, args.value(QStringLiteral("nDecibel")).toInt());
    const int nDuration = qMax(1, args.value(QStringLiteral("nDuration")).toInt());
    const QString filter = QStringLiteral("silencedetect=noise=-%1dB:duration=%2").arg(nDecibel).arg(nDuration);

    // Nothing is written, so no "-y".
    const QStringList arguments {QStringLiteral("-i"), inFile, QStringLiteral("-af"), filter,
                                 QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-")};
    CProcessWork work;
    work.StartTask(FFmpegPath(), arguments, QString());
    const QString report = work.GetStdErr();
    if (pInfo) {
        pInfo->outcome = work.GetOutcome();
        pInfo->dDecoded = ParseDecodedSeconds(report);
    }
    return ParseSilence(report);
}

bool FFmpegOps::ExtractAudio(const QVariantMap& args)
{
    const QString inFile = str(args, "inFile");
    const QString outFile = str(args, "outFile");
    QStringList arguments {QStringLiteral("-y"), QStringLiteral("-i"), inFile, QStringLiteral("-vn")};
    // Case-sensitive on purpose: any other spelling keeps the original stream.
    if (str(args, "aType") == QLatin1String("PCM16")) {
        arguments << QStringLiteral("-acodec") << QStringLiteral("pcm_s16le") << QStringLiteral("-ac")
                  << QStringLiteral("1") << QStringLiteral("-ar") << QStringLiteral("16000");
        arguments << outFile;
        return written(runFFmpeg(arguments), outFile);
    }
    arguments << QStringLiteral("-acodec") << QStringLiteral("copy") << outFile;
    if (written(runFFmpeg(arguments), outFile))
        return true;
    // A stream the output's container cannot hold (MP3, Opus or PCM into ".aac") makes
    // the copy fail and leaves an empty file: the sound is encoded to AAC instead.
    if (CProcessWork::StopRequested())
        return false;
    const QStringList encode {QStringLiteral("-hide_banner"), QStringLiteral("-y"), QStringLiteral("-i"), inFile,
                              QStringLiteral("-vn"), QStringLiteral("-acodec"), QStringLiteral("aac"), outFile};
    return written(runFFmpeg(encode), outFile);
}

FFmpegOps::Streams FFmpegOps::ProbeStreams(const QString& file)
{
    // Copies at most nothing ("-t 0"): ffmpeg only opens the input and lists its streams.
    const QStringList arguments {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-i"), file,
                                 QStringLiteral("-map"), QStringLiteral("0:v:0?"), QStringLiteral("-map"),
                                 QStringLiteral("0:a:0?"), QStringLiteral("-c"), QStringLiteral("copy"),
                                 QStringLiteral("-t"), QStringLiteral("0"), QStringLiteral("-f"), QStringLiteral("null"),
                                 QStringLiteral("-")};
    CProcessWork work;
    work.StartTask(FFmpegPath(), arguments, QString());
    if (!work.Succeeded())
        return Streams();
    return ParseStreams(work.GetStdErr());
}

FFmpegOps::Streams FFmpegOps::ParseStreams(const QString& report)
{
    Streams streams;
    const QRegExp streamRx(QStringLiteral("^\\s*Stream #0:\\d+.*: (Video|Audio):"));
    const QStringList lines = report.split(QRegExp(QStringLiteral("[\n\r]+")));
    for (const QString& line : lines) {
        // Only the input's streams: the output's are listed after it.
        if (line.startsWith(QLatin1String("Output #")))
            break;
        QRegExp rx(streamRx);
        if (rx.indexIn(line) != 0)
            continue;
        streams.bKnown = true;
        (rx.cap(1) == QLatin1String("Video") ? streams.bVideo : streams.bAudio) = true;
    }
    return streams;
}

bool FFmpegOps::MergeAudioVideo(const QVariantMap& args)
{
    const QString outFile = str(args, "outFile");
    // No stream mapping: ffmpeg's default selection picks the video and the audio.
    const QStringList arguments {QStringLiteral("-y"), QStringLiteral("-i"), str(args, "inFile"),
                                 QStringLiteral("-i"), str(args, "inFile2"), QStringLiteral("-vsync"),
                                 QStringLiteral("0"), QStringLiteral("-acodec"), QStringLiteral("copy"),
                                 QStringLiteral("-vcodec"), QStringLiteral("copy"), outFile};
    return written(runFFmpeg(arguments), outFile);
}

void FFmpegOps::JpgSeqToVideo(const QString& picDir, const QString& outFile)
{
    const QStringList files = PubUtils::ListFiles(picDir);
    if (files.isEmpty()) {
        QDir().rmdir(picDir);
        return;
    }

    const QString tmpDir = picDir + QStringLiteral("/tmppiczr/");
    QDir().mkpath(tmpDir);
    // Named by listing index and complete suffix, so only ".jpg" files join the sequence from 0.
    for (int i = 0; i < files.size(); ++i) {
        const QFileInfo info(QDir(picDir).filePath(files.at(i)));
        const QString target = tmpDir + QString::number(i) + QLatin1Char('.') + info.completeSuffix();
        QFile::remove(target);
        QFile::copy(info.filePath(), target);
    }

    // "-r" before "-i" sets the input picture rate; no pixel format is forced here.
    const QStringList arguments {QStringLiteral("-y"), QStringLiteral("-r"), QStringLiteral("5"),
                                 QStringLiteral("-i"), tmpDir + QStringLiteral("%d.jpg"), QStringLiteral("-vf"),
                                 kPadEven, QStringLiteral("-vcodec"), QStringLiteral("libx264"), outFile};
    runFFmpeg(arguments);
    PubUtils::RemoveDir(tmpDir);
}

bool FFmpegOps::PngSeqToVideo(const QVariantMap& args)
{
    const QString inDir = str(args, "inDir");
    const QString outFile = str(args, "outFile");
    const QStringList arguments {QStringLiteral("-y"), QStringLiteral("-r"), QStringLiteral("15"),
                                 QStringLiteral("-i"), inDir + QStringLiteral("/%8d.png"), QStringLiteral("-vf"),
                                 kPadEven, QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"),
                                 QStringLiteral("-vcodec"), QStringLiteral("libx264"), outFile};
    const bool ran = runFFmpeg(arguments);
    if (args.value(QStringLiteral("bRmInDir")).toBool())
        PubUtils::RemoveDir(inDir);
    return written(ran, outFile);
}

bool FFmpegOps::RemoveSilence(const QVariantMap& args)
{
    const QString outFile = str(args, "outFile");
    const QStringList arguments {QStringLiteral("-y"), QStringLiteral("-i"), str(args, "inFile"),
                                 QStringLiteral("-af"),
                                 QStringLiteral("silenceremove=stop_periods=-1:stop_duration=1:stop_threshold=-30dB"),
                                 outFile};
    return written(runFFmpeg(arguments), outFile);
}

bool FFmpegOps::CutSegment(const QVariantMap& args)
{
    const QString outFile = str(args, "outFile");
    const QString fast = QStringLiteral("bFast");
    const bool bFast = args.contains(fast) && args.value(fast).toBool();

    QStringList arguments {QStringLiteral("-y"), QStringLiteral("-ss"), str(args, "startTime"),
                           QStringLiteral("-to"), str(args, "endTime")};
    if (bFast) {
        arguments << QStringLiteral("-copyts") << QStringLiteral("-i") << str(args, "inFile")
                  << QStringLiteral("-vsync") << QStringLiteral("0") << QStringLiteral("-acodec")
                  << QStringLiteral("copy") << QStringLiteral("-vcodec") << QStringLiteral("copy");
    } else {
        arguments << QStringLiteral("-i") << str(args, "inFile") << QStringLiteral("-vsync") << QStringLiteral("0");
        // libx264 refuses odd sizes: such a source is padded by one row or column.
        if (args.value(QStringLiteral("bPadEven")).toBool())
            arguments << QStringLiteral("-vf") << kPadEven;
        arguments << QStringLiteral("-acodec") << QStringLiteral("aac") << QStringLiteral("-vcodec")
                  << QStringLiteral("libx264");
    }
    arguments << outFile;
    return written(runFFmpeg(arguments), outFile);
}

bool FFmpegOps::VideoToPngSeq(const QVariantMap& args)
{
    const QString saveDir = str(args, "saveDir");
    if (!QDir(saveDir).exists())
        QDir().mkpath(saveDir);
    // "-r" after the input: here it is the output rate.
    const QStringList arguments {QStringLiteral("-y"), QStringLiteral("-i"), str(args, "inFile"),
                                 QStringLiteral("-r"), QStringLiteral("15"), saveDir + QStringLiteral("/%8d.png")};
    runFFmpeg(arguments);
    return QFile::exists(saveDir + QStringLiteral("/00000001.png"));
}

bool FFmpegOps::ReportsWriteError(const QString& report)
{
    for (const char* marker : {"No space left on device", "Disk quota exceeded", "Error writing trailer", "Error closing file"})
        if (report.contains(QLatin1String(marker)))
            return true;
    return false;
}

double FFmpegOps::ParseDecodedSeconds(const QString& report)
{
    QRegExp rx(QStringLiteral("time=(\\d+):(\\d\\d):(\\d\\d(?:\\.\\d+)?)"));
    const int at = rx.lastIndexIn(report);
    if (at < 0)
        return -1;
    return rx.cap(1).toDouble() * 3600 + rx.cap(2).toDouble() * 60 + rx.cap(3).toDouble();
}

QVariantList FFmpegOps::ParseSilence(const QString& report)
{
    // Built per call: a QRegExp keeps its last match, so a shared one would race between works.
    QRegExp startRx(QStringLiteral("^\\s*\\[silencedetect[^\\]]*\\].*silence_start.*:\\s*([\\.0-9]+).*$"),
                    Qt::CaseInsensitive);
    QRegExp endRx(QStringLiteral("^\\s*\\[silencedetect[^\\]]*\\].*silence_end[^:]*:\\s*([\\.0-9]+).*$"),
                  Qt::CaseInsensitive);
    // Neither number class admits a minus sign: a leading silence reported below zero is dropped.
    const QString prefix = QStringLiteral("[silencedetect");

    QVariantList result;
    bool bPending = false;
    double start = 0.0;
    const QStringList lines = report.split(QRegExp(QStringLiteral("[\n\r]+")));
    for (const QString& line : lines) {
        if (!line.startsWith(prefix))
            continue;
        QRegExp& rx = bPending ? endRx : startRx;
        if (rx.indexIn(line) != 0)
            continue;
        bool ok = false;
        const double value = rx.cap(1).toDouble(&ok);
        if (!ok || value < 0 || !qIsFinite(value))
            continue;
        if (!bPending) {
            start = value;
            bPending = true;
            continue;
        }
        if (value - start > 0) {
            QVariantMap interval;
            interval.insert(QStringLiteral("startTs"), start);
            interval.insert(QStringLiteral("endTs"), value);
            result.append(interval);
        }
        bPending = false;
    }
    return result;
}
