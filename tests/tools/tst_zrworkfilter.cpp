// zrwork's filter commands as a user runs them, with the shipped style networks.

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

class TstZrworkFilter : public QObject
{
    Q_OBJECT
    QTemporaryDir m_tmp;
    const QString m_sBin = qEnvironmentVariable("ZRW_BIN_DIR") + "/zrwork";

    int Zrwork(const QStringList& args, QByteArray* out = nullptr)
    {
        QProcess p;
        p.start(m_sBin, args);
        p.waitForFinished(120000);
        if (out)
            *out = p.readAllStandardOutput();
        return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    }

private Q_SLOTS:
    void styles()
    {
        QByteArray out;
        QCOMPARE(Zrwork({"styles"}, &out), 0);
        const QStringList names = QString::fromUtf8(out).split('\n', Qt::SkipEmptyParts).replaceInStrings(QRegExp(" .*"), "");
        QCOMPARE(names, (QStringList{"cartoon", "sepia", "sketch"}));
    }

    void commands_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("outFile"); // in "res_data", or in "user_data" for reencode
        QTest::newRow("style by name") << QStringList{"style", "pic.png", "--model", "cartoon"} << 0 << "pic.png";
        QTest::newRow("beautify picture") << QStringList{"beautify", "pic.png", "--white", "5"} << 0 << "pic.png";
        QTest::newRow("beautify out of range") << QStringList{"beautify", "pic.png", "--degree", "7"} << 1 << "";
        QTest::newRow("reencode missing video") << QStringList{"reencode", "none.mp4"} << 1 << "";
        QTest::newRow("style without model") << QStringList{"style", "pic.png"} << 2 << "";
    }

    void commands()
    {
        QFETCH(QStringList, args);
        QFETCH(int, status);
        QFETCH(QString, outFile);
        const QString dir = m_tmp.filePath(QTest::currentDataTag());
        QProcess ff;
        ff.start("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=size=80x60", "-frames:v", "1", m_tmp.filePath("pic.png")});
        QVERIFY(ff.waitForFinished(30000));
        args[1] = m_tmp.filePath(args[1]);
        QByteArray out;
        QCOMPARE(Zrwork(args << "--save-dir" << dir, &out), status);
        const QVariantMap map = QJsonDocument::fromJson(out).object().toVariantMap();
        if (!outFile.isEmpty()) {
            QCOMPARE(map.value("res_data").toMap().value("sOutFile").toString(), dir + "/" + outFile);
            QVERIFY(QFileInfo(dir + "/" + outFile).size() > 0);
        }
    }
};

QTEST_GUILESS_MAIN(TstZrworkFilter)
#include "tst_zrworkfilter.moc"
