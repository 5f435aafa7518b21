// zrwork types each parameter by its key's prefix; a wrong type must be refused,
// not passed on as text to a work that reads it as a number.

#include "CParamParser.h"

#include <QTemporaryDir>
#include <QtTest>

class TstParamParser : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void item_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QVariant>("value");

        QTest::newRow("text") << "sFile=/a b/c=d.mp4" << true << QVariant(QStringLiteral("/a b/c=d.mp4"));
        QTest::newRow("json text stays text") << "sjsExt={\"a\":1}" << true << QVariant(QStringLiteral("{\"a\":1}"));
        QTest::newRow("integer") << "nDuration=95" << true << QVariant(qint64(95));
        QTest::newRow("big integer") << "nSize=5000000000" << true << QVariant(qint64(5000000000LL));
        QTest::newRow("integer refuses fraction") << "nDuration=9.5" << false << QVariant();
        QTest::newRow("double") << "dMinSec=1.5" << true << QVariant(1.5);
        QTest::newRow("double refuses text") << "dMinSec=abc" << false << QVariant();
        QTest::newRow("bool true") << "bMergeVideo=true" << true << QVariant(true);
        QTest::newRow("bool 0") << "bMergeVideo=0" << true << QVariant(false);
        QTest::newRow("bool refuses maybe") << "bMergeVideo=maybe" << false << QVariant();
        QTest::newRow("nested map") << "mapArgs={\"inFile\":\"x\",\"n\":2}" << true
                                    << QVariant(QVariantMap{{QStringLiteral("inFile"), QStringLiteral("x")},
                                                            {QStringLiteral("n"), 2}});
        QTest::newRow("bad map") << "mapArgs={oops" << false << QVariant();
        QTest::newRow("no equals") << "sFile" << false << QVariant();
        QTest::newRow("empty key") << "=x" << false << QVariant();
    }

    void item()
    {
        QFETCH(QString, item);
        QFETCH(bool, ok);
        QFETCH(QVariant, value);
        QVariantMap params;
        QString error;
        QCOMPARE(CParamParser::ParseItem(item, params, &error), ok);
        QCOMPARE(error.isEmpty(), ok);
        if (ok) {
            const QVariant got = params.value(item.left(item.indexOf(QLatin1Char('='))));
            QCOMPARE(got, value);
            QCOMPARE(got.type(), value.type());
        }
    }

    void file()
    {
        QTemporaryDir tmp;
        QFile f(tmp.filePath(QStringLiteral("p.json")));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(R"({"sFile": "/x.mp4", "nDecibel": 30, "dMinSec": 2, "bMergeVideo": true, "mapSub": {"a": "b"}})");
        f.close();
        QVariantMap params;
        QString error;
        QVERIFY2(CParamParser::ParseFile(f.fileName(), params, &error), qPrintable(error));
        QCOMPARE(params.value(QStringLiteral("nDecibel")).type(), QVariant::LongLong);
        QCOMPARE(params.value(QStringLiteral("nDecibel")).toLongLong(), 30);
        QCOMPARE(params.value(QStringLiteral("dMinSec")).type(), QVariant::Double);
        QCOMPARE(params.value(QStringLiteral("bMergeVideo")), QVariant(true));
        QCOMPARE(params.value(QStringLiteral("mapSub")).toMap().value(QStringLiteral("a")).toString(), QStringLiteral("b"));

        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(R"({"nDecibel": 30.5})");
        f.close();
        QVERIFY(!CParamParser::ParseFile(f.fileName(), params, &error));
        QVERIFY(!CParamParser::ParseFile(tmp.filePath(QStringLiteral("missing.json")), params, &error));
    }
};

QTEST_GUILESS_MAIN(TstParamParser)
#include "tst_paramparser.moc"
