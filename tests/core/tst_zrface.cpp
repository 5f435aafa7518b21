// The face library path: the loader against a stand-in library, the hub's message
// handler, and the hub loading and releasing the library at start-up and teardown.

#include "TestHost.h"
#include "base/PubUtils.h"
#include "core/CData.h"
#include "core/CZrFaceLoader.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using WorkBaseData::CData;
using WorkBaseData::PubUtils;

class TestZrFace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The hub is built here, with the stand-in's folder as the application folder.
    void initTestCase()
    {
        QVERIFY2(QFile::exists(StandinDir() + "/" + CZrFaceLoader::LibraryFileName()),
                 "the stand-in library must have been built");
        PubUtils::SetAppDir(StandinDir());
        TestHost::Install();
        PubUtils::SetAppDir(QString());
    }
    void init() { TestHost::Clear(); }

    void hubLoadedTheLibrary()
    {
        QVERIFY2(CData::GetInstance()->GetFaceLib() != nullptr,
                 "the stand-in sits in the application folder when the hub is built");
    }

    void loaderSendsLogsThroughHub()
    {
        CZrFaceLoader loader(StandinDir());
        zrface::ZrFaceLib* lib = loader.Init(&CData::OnFaceMessage, zrface::ZrVarient());
        QVERIFY(lib);
        QCOMPARE(TestHost::Logs(), QStringList{"standin ready"});
        loader.Release(lib);
        QCOMPARE(TestHost::Logs(), (QStringList{"standin ready", "standin released"}));
        loader.Release(nullptr);
        QCOMPARE(TestHost::Count(1), 2);
    }

    void loaderLooksInAppDirByDefault()
    {
        PubUtils::SetAppDir(StandinDir());
        CZrFaceLoader loader;
        PubUtils::SetAppDir(QString());
        zrface::ZrFaceLib* lib = loader.Init(&CData::OnFaceMessage, zrface::ZrVarient());
        QVERIFY(lib);
        loader.Release(lib);
        QCOMPARE(TestHost::Count(1), 2);
    }

    void missingOrBrokenLibraryGivesNull_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("no file") << QByteArray();
        QTest::newRow("not a library") << QByteArray("MZ this is no shared object");
    }
    void missingOrBrokenLibraryGivesNull()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        if (!content.isEmpty()) {
            QFile file(dir.filePath(CZrFaceLoader::LibraryFileName()));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }
        CZrFaceLoader loader(dir.path());
        QVERIFY(loader.Init(&CData::OnFaceMessage, zrface::ZrVarient()) == nullptr);
        loader.Release(nullptr);
        QCOMPARE(TestHost::Count(1), 0);
    }

    void handlerForwardsLogText_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("expected");
        QTest::newRow("log") << int(zrface::ZrFaceRs_Log) << "log" << "face line";
        QTest::newRow("log in a result message") << int(zrface::ZrFaceRs_Result) << "log" << "face line";
        QTest::newRow("no log entry") << int(zrface::ZrFaceRs_Log) << "other" << "";
    }
    void handlerForwardsLogText()
    {
        QFETCH(int, kind);
        QFETCH(QString, key);
        QFETCH(QString, expected);
        zrface::ZrVarient message;
        message.texts[key.toStdString()] = "face line";
        CData::OnFaceMessage(static_cast<zrface::ZrFaceRs>(kind), message);
        const QVector<QVariant> got = TestHost::Of(1);
        QCOMPARE(got.size(), 1);
        QCOMPARE(got.first().toMap(), (QVariantMap{{"log", expected}}));
    }

    // Last: the hub's teardown releases the library before it forgets the host.
    void hubReleaseReleasesTheLibrary()
    {
        CData* hub = CData::GetInstance();
        hub->Release(true);
        QCOMPARE(TestHost::Logs(), QStringList{"standin released"});
        QVERIFY(hub->GetFaceLib() == nullptr);
        hub->Release(true);
        QCOMPARE(TestHost::Count(1), 1);
    }

private:
    static QString StandinDir() { return QStringLiteral(ZRW_FACE_STANDIN_DIR); }
};

QTEST_GUILESS_MAIN(TestZrFace)
#include "tst_zrface.moc"
