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
        QTest::addColumn<QVariant>("value"); // invalid: refused
        QTest::newRow("text keeps '=', json stays text") << "sjsExt={\"a b\":\"c=d\"}" << QVariant("{\"a b\":\"c=d\"}");
        QTest::newRow("64-bit integer") << "nSize=5000000000" << QVariant(qint64(5000000000LL));
        QTest::newRow("integer refuses fraction") << "nDuration=9.5" << QVariant();
        QTest::newRow("double") << "dMinSec=1.5" << QVariant(1.5);
        QTest::newRow("double refuses text") << "dMinSec=abc" << QVariant();
        QTest::newRow("double refuses nan") << "dMinSec=nan" << QVariant();
        QTest::newRow("double refuses inf") << "dMinSec=-inf" << QVariant();
        QTest::newRow("bool") << "bMergeVideo=0" << QVariant(false);
        QTest::newRow("bool refuses maybe") << "bMergeVideo=maybe" << QVariant();
        QTest::newRow("nested map") << "mapArgs={\"inFile\":\"x\"}" << QVariant(QVariantMap{{"inFile", "x"}});
        QTest::newRow("bad map") << "mapArgs={oops" << QVariant();
        QTest::newRow("no equals") << "sFile" << QVariant();
    }

    void item()
    {
        QFETCH(QString, item);
        QFETCH(QVariant, value);
        QVariantMap params;
        QString error;
        QCOMPARE(CParamParser::ParseItem(item, params, &error), value.isValid());
        QCOMPARE(error.isEmpty(), value.isValid());
        const QVariant got = params.value(item.section('=', 0, 0));
        QCOMPARE(got, value);
        QCOMPARE(got.type(), value.type());
    }

    void file()
    {
        QTemporaryDir tmp;
        QFile f(tmp.filePath("p.json"));
        QVERIFY(f.open(QIODevice::WriteOnly) &&
                f.write(R"({"sFile": "/x.mp4", "nDecibel": 30, "dMinSec": 2, "bMergeVideo": true, "nTrack": 1.5})") > 0);
        f.close();
        QVariantMap params;
        QString error;
        QVERIFY2(!CParamParser::ParseFile(f.fileName(), params, &error), "a fraction for an n-key is refused");
        QCOMPARE(error, QString("nTrack wants an integer, got '1.5'"));
        QCOMPARE(params.value("nDecibel"), QVariant(qint64(30)));
        QCOMPARE(params.value("dMinSec"), QVariant(2.0));
        QVERIFY(!CParamParser::ParseFile(tmp.filePath("missing.json"), params, &error));
    }
};

QTEST_GUILESS_MAIN(TstParamParser)
#include "tst_paramparser.moc"
