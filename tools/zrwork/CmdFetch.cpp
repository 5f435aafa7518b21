#include "CmdFetch.h"

#include "CliCommon.h"
#include "base/DownThread.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QVariantMap>

#include <cstdio>

namespace zrcli {

namespace {

QString Mib(qint64 bytes)
{
    return QString::number(bytes / 1048576.0, 'f', 1);
}

// One line, redrawn in place: a 30-cell bar when the length is known, the bytes otherwise.
void DrawBar(qint64 done, qint64 total)
{
    if (total > 0) {
        const int cells = static_cast<int>(30 * done / total);
        std::fprintf(stderr, "\r[%s%s] %3d%%  %s/%s MiB", QByteArray(cells, '#').constData(), QByteArray(30 - cells, ' ').constData(),
                     static_cast<int>(100 * done / total), Mib(done).toUtf8().constData(), Mib(total).toUtf8().constData());
    } else {
        std::fprintf(stderr, "\r%s MiB", Mib(done).toUtf8().constData());
    }
    std::fflush(stderr);
}

} // namespace

int CmdFetch(QStringList args)
{
    QString saveDir, stall = QStringLiteral("30");
    if (!TakeOption(args, QStringLiteral("--save-dir"), &saveDir) || !TakeOption(args, QStringLiteral("--stall-sec"), &stall))
        return Usage(QStringLiteral("an option is missing its value"));
    if (args.size() != 1 || saveDir.isEmpty())
        return Usage(QStringLiteral("fetch needs one URL and --save-dir DIR"));
    bool ok = false;
    WorkBaseData::HttpLimits limits;
    limits.nStallSec = stall.toInt(&ok);
    if (!ok || limits.nStallSec < 0)
        return Usage(QStringLiteral("--stall-sec wants a whole number of seconds"));
    const QString url = args.first();
    const QString file = QDir(QFileInfo(saveDir).absoluteFilePath()).filePath(WorkBaseData::CHttpConn::FileNameOf(url));

    // An interrupted fetch leaves "<file>.part"; the next one resumes it.
    DownThread down(url, file, limits);
    QEventLoop loop;
    bool drawn = false;
    QObject::connect(&down, &DownThread::progress, &loop, [&drawn](DownThread*, qint64 done, qint64 total) {
        drawn = true;
        DrawBar(done, total);
    });
    QObject::connect(&down, &DownThread::finish, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    down.start();
    loop.exec();
    down.wait();
    if (drawn)
        std::fputc('\n', stderr);

    QVariantMap out;
    out.insert(QStringLiteral("resMsg"), down.ResMsg());
    out.insert(QStringLiteral("sSourceUrl"), url);
    out.insert(QStringLiteral("nHttpCode"), down.HttpCode());
    if (down.ResMsg().isEmpty()) {
        out.insert(QStringLiteral("sFile"), file);
        out.insert(QStringLiteral("nBytes"), QFileInfo(file).size());
    } else if (!down.Detail().isEmpty()) {
        std::fprintf(stderr, "zrwork: %s\n", down.Detail().toUtf8().constData());
    }
    PrintJson(out);
    return down.ResMsg().isEmpty() ? 0 : 1;
}

} // namespace zrcli
