#pragma once
// zrwork run as a user runs it, as a child process of the test: its exit status (-1 when
// it crashed or had to be killed) and everything it printed.

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

struct ZrworkResult
{
    int status = -1;
    QByteArray out, err;

    // stdout as one JSON object.
    QVariantMap Json() const { return QJsonDocument::fromJson(out).object().toVariantMap(); }
    // One JSON object a line; an empty map for a line that does not parse.
    QVector<QVariantMap> Lines() const
    {
        QVector<QVariantMap> maps;
        for (const QByteArray& line : out.split('\n')) {
            if (!line.isEmpty())
                maps.append(QJsonDocument::fromJson(line).object().toVariantMap());
        }
        return maps;
    }
};

// The zrwork the build made.
inline QString ZrworkBin()
{
    return qEnvironmentVariable("ZRW_BIN_DIR") + "/zrwork";
}

inline ZrworkResult Zrwork(const QStringList& args)
{
    QProcess p;
    // No platform plugin forced on the preview window: Qt's own allocations would fail
    // sanitized runs of its usage errors.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("QT_QPA_PLATFORM");
    p.setProcessEnvironment(env);
    p.start(ZrworkBin(), args);
    if (!p.waitForFinished(120000))
        p.kill();
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, p.readAllStandardOutput(), p.readAllStandardError()};
}
