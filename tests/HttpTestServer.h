#pragma once
// The download tests' web server: tests/base/http_server.py on 127.0.0.1 and a free
// port, as a child of the test, with helpers for its addresses and request counts.

#include "base/CHttpConn.h"

#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QVariantMap>

class HttpTestServer
{
public:
        // Serves dir under /static/; with pem (a key and its certificate) over TLS too.
    bool Start(const QString& dir, const QString& pem = QString())
    {
        m_proc.start(QStringLiteral("python3"), QStringList{QStringLiteral(ZRW_HTTP_SERVER), dir} + (pem.isEmpty() ? QStringList() : QStringList{pem}));
        for (int* port : {&m_nPort, &m_nTlsPort}) {
            while (!m_proc.canReadLine() && m_proc.waitForReadyRead(20000)) {
            }
            *port = m_proc.readLine().trimmed().toInt();
            if (pem.isEmpty())
                break;
        }
        return m_nPort > 0 && (pem.isEmpty() || m_nTlsPort > 0);
    }
    ~HttpTestServer()
    {
        m_proc.kill();
        m_proc.waitForFinished();
    }

    QString Url(const QString& path) const { return QStringLiteral("http://127.0.0.1:%1%2").arg(m_nPort).arg(path); }
    QString TlsUrl(const QString& path) const { return QStringLiteral("https://127.0.0.1:%1%2").arg(m_nTlsPort).arg(path); }

    // How many GETs path has had.
    int Hits(const QString& path) const
    {
        QTemporaryDir dir;
        QFile f(dir.filePath(QStringLiteral("hits")));
        if (!WorkBaseData::CHttpConn().Download(Url(QStringLiteral("/hits")), f.fileName()).isEmpty() || !f.open(QIODevice::ReadOnly))
            return -1;
        return QJsonDocument::fromJson(f.readAll()).toVariant().toMap().value(path).toInt();
    }

    // Byte i of the server's pattern files is i*7 % 251.
    static QByteArray Pattern(int from, int to)
    {
        QByteArray out;
        for (int i = from; i < to; ++i)
            out.append(static_cast<char>((i * 7) % 251));
        return out;
    }

private:
    QProcess m_proc;
    int m_nPort = 0;
    int m_nTlsPort = 0;
};
