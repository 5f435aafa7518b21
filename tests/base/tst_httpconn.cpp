// The download service against a web server the test starts on 127.0.0.1: whole files,
// each failure's word, resuming, two downloads at once, the host's lock, pictures.

#include "HttpTestServer.h"
#include "TestFiles.h"
#include "TestHost.h"
#include "base/CCurlLocker.h"
#include "base/DownThread.h"

#include <QImage>
#include <QPointer>
#include <QtTest>

using WorkBaseData::CCurlLocker;
using WorkBaseData::CHttpConn;
using WorkBaseData::HttpLimits;

namespace {

QByteArray ReadAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

// A started download and what it left, recorded on its own thread: the hub deletes it on finish().
struct Watched
{
    QPointer<DownThread> down;
    QString word = QStringLiteral("<running>");
    QImage picture;
    qint64 lastDone = -1;

    Watched(const QString& url, const QString& file)
        : down(new DownThread(url, file))
    {
        QObject::connect(down, &DownThread::finish, down, [this](DownThread* self) {
            picture = self->Picture();
            word = self->ResMsg();
        }, Qt::DirectConnection);
        QObject::connect(down, &DownThread::progress, down, [this](DownThread*, qint64 done, qint64) { lastDone = done; },
                         Qt::DirectConnection);
        down->start();
    }
    bool Gone() const { return down.isNull(); }
};

} // namespace

class TstHttpConn : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    HttpTestServer m_server;
    int m_nFile = 0;

    QString NewFile() { return m_tmp.filePath(QStringLiteral("got/%1.bin").arg(++m_nFile)); }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        // A certificate no authority signed: TLS verification must refuse it.
        const QString pem = m_tmp.filePath("self.pem");
        QCOMPARE(QProcess::execute("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=127.0.0.1", "-days", "1",
                                               "-keyout", pem, "-out", pem + ".crt"}), 0);
        QVERIFY(TestFiles::Write(pem, ReadAll(pem) + ReadAll(pem + ".crt")));
        QVERIFY(m_server.Start(m_tmp.path(), pem));
    }

    void outcomes_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("stallSec");
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("httpCode");
        QTest::addColumn<int>("size"); // of the file; -1: none
        QTest::newRow("whole file") << "/file/300000" << 30 << "" << 200 << 300000;
        QTest::newRow("empty file") << "/file/0" << 30 << "" << 200 << 0;
        QTest::newRow("404") << "/status/404" << 30 << "download_not_found" << 404 << -1;
        QTest::newRow("500") << "/status/500" << 30 << "download_server_error" << 500 << -1;
        QTest::newRow("403") << "/status/403" << 30 << "download_http_error" << 403 << -1;
        QTest::newRow("redirect loop") << "/loop" << 30 << "download_too_many_redirects" << 302 << -1;
        QTest::newRow("no answer") << "/hang" << 1 << "download_timeout" << 0 << -1;
        QTest::newRow("unverified TLS") << "tls:/file/10" << 30 << "download_tls_failed" << 0 << -1;
        QTest::newRow("not http") << "ftp://127.0.0.1/x" << 30 << "download_bad_url" << 0 << -1;
        // Nothing listens on port 1 of the loopback address.
        QTest::newRow("refused") << "http://127.0.0.1:1/x" << 30 << "download_refused" << 0 << -1;
    }

    void outcomes()
    {
        QFETCH(QString, path);
        QFETCH(int, stallSec);
        QFETCH(QString, word);
        QFETCH(int, httpCode);
        QFETCH(int, size);
        const QString url = path.startsWith('/') ? m_server.Url(path) : path.startsWith("tls:") ? m_server.TlsUrl(path.mid(4)) : path;
        HttpLimits limits;
        limits.nStallSec = stallSec;
        CHttpConn conn(limits);
        const QString file = NewFile();
        QCOMPARE(conn.Download(url, file), word);
        QCOMPARE(conn.HttpCode(), httpCode);
        QCOMPARE(QFileInfo(file).exists() ? QFileInfo(file).size() : -1, qint64(size));
        QVERIFY(!QFileInfo::exists(CHttpConn::PartName(file)));
        if (size > 0)
            QCOMPARE(ReadAll(file), HttpTestServer::Pattern(0, size));
    }

    // Cut half-way: nothing under the final name, the half kept; the next try asks for
    // the rest only and the file comes out whole.
    void resumesAfterADrop()
    {
        const QString file = NewFile(), url = m_server.Url("/drop/200000");
        CHttpConn conn;
        QCOMPARE(conn.Download(url, file), QString("download_truncated"));
        QVERIFY(!QFileInfo::exists(file));
        QCOMPARE(ReadAll(CHttpConn::PartName(file)), HttpTestServer::Pattern(0, 100000));
        QList<qint64> done;
        QCOMPARE(conn.Download(url, file, [&](qint64 d, qint64 total) { return done.append(d), total == 200000; }), QString());
        QCOMPARE(conn.HttpCode(), 206);
        QCOMPARE(ReadAll(file), HttpTestServer::Pattern(0, 200000));
        QCOMPARE(done.last(), qint64(200000));
        QVERIFY(!QFileInfo::exists(CHttpConn::PartName(file)));
        QCOMPARE(m_server.Hits("/drop/200000"), 2);
        // A kept part longer than the file: the server refuses the range, the download starts over.
        QVERIFY(QFile::copy(file, CHttpConn::PartName(file)));
        QCOMPARE(conn.Download(m_server.Url("/file/1000"), file), QString());
        QCOMPARE(ReadAll(file), HttpTestServer::Pattern(0, 1000));
        // A server without ranges: the whole file again.
        QVERIFY(QFile::copy(file, m_tmp.filePath("plain.bin")) && QFile::copy(file, CHttpConn::PartName(file))
                && QFile::resize(CHttpConn::PartName(file), 10));
        QCOMPARE(conn.Download(m_server.Url("/static/plain.bin"), file), QString());
        QCOMPARE(ReadAll(file), HttpTestServer::Pattern(0, 1000));
    }

    // The server answers each of the two only once both have asked: they must run at once.
    // The hub deletes each download after its finish().
    void twoAtOnce()
    {
        const QString fileA = NewFile();
        Watched a(m_server.Url("/pair/a"), fileA), b(m_server.Url("/pair/b"), NewFile());
        QTRY_VERIFY_WITH_TIMEOUT(a.Gone() && b.Gone(), 30000);
        QCOMPARE(a.word, QString());
        QCOMPARE(b.word, QString());
        QCOMPARE(ReadAll(fileA), HttpTestServer::Pattern(0, 100000));
        QCOMPARE(a.lastDone, qint64(100000));
    }

    // With the host's lock handed over and held by the host, the download cannot take a
    // step; once released, it runs through that lock.
    void takesTheHostsLock()
    {
        QMutex hostLock;
        TestHost::Install({{"appData", m_tmp.path()}, {"curlLocker", qint64(quintptr(&hostLock))}});
        QCOMPARE(CCurlLocker::Get(), &hostLock);
        const quint64 before = CCurlLocker::Acquisitions();
        hostLock.lock();
        Watched down(m_server.Url("/file/1000"), NewFile());
        QTest::qWait(300);
        QCOMPARE(down.word, QString("<running>"));
        QCOMPARE(CCurlLocker::Acquisitions(), before);
        hostLock.unlock();
        QTRY_VERIFY_WITH_TIMEOUT(down.Gone(), 30000);
        QCOMPARE(down.word, QString());
        QVERIFY(CCurlLocker::Acquisitions() >= before + 4);
        TestHost::Install({{"appData", m_tmp.path()}});
        QVERIFY(CCurlLocker::Get() != &hostLock);
    }

    void loadsAPicture()
    {
        QImage picture(16, 8, QImage::Format_RGB32);
        picture.fill(QColor(200, 40, 10));
        QVERIFY(picture.save(m_tmp.filePath("pic.png")));
        Watched png(m_server.Url("/static/pic.png"), NewFile()), bytes(m_server.Url("/file/100"), NewFile());
        QTRY_VERIFY_WITH_TIMEOUT(png.Gone() && bytes.Gone(), 30000);
        QCOMPARE(png.picture.size(), QSize(16, 8));
        QCOMPARE(png.picture.pixelColor(3, 3), QColor(200, 40, 10));
        QCOMPARE(bytes.word, QString());
        QVERIFY(bytes.picture.isNull());
    }
};

QTEST_GUILESS_MAIN(TstHttpConn)
#include "tst_httpconn.moc"
