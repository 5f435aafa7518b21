// The recogniser's model-free parts: command line, CTC decoding, boxes from a probability map, line order.

#include "CCtcDecoder.h"
#include "CDbBoxes.h"
#include "CLineOrder.h"
#include "COcrArgs.h"

#include <QtTest>

using Strings = std::vector<std::string>;
using Lines = std::vector<std::vector<int>>;
using Boxes = std::vector<CLineOrder::Box>;
Q_DECLARE_METATYPE(Strings)
Q_DECLARE_METATYPE(Boxes)
Q_DECLARE_METATYPE(Lines)

class TstZrocrParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void arguments_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("error"); // "" when accepted
        const QStringList full{"--models", "models", "--det", "d.onnx", "--cls", "c.onnx", "--rec", "r.onnx",
                               "--keys", "k.txt", "--image", "/tmp/-a b/1.jpg"};
        QTest::newRow("any order") << QStringList(full.mid(2) + full.mid(0, 2)) << "";
        QTest::newRow("missing one") << QStringList(full.mid(0, 10)) << "missing option --image";
        QTest::newRow("no value") << QStringList(full.mid(0, 11)) << "missing value for --image";
        QTest::newRow("unknown") << QStringList(full + QStringList{"--gpu", "0"}) << "unknown option --gpu";
        QTest::newRow("repeated") << QStringList(full + QStringList{"--det", "x"}) << "repeated option --det";
    }

    void arguments()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, error);
        Strings list;
        for (const QString& a : args)
            list.push_back(a.toStdString());
        COcrArgs parsed;
        QCOMPARE(parsed.Parse(list), error.isEmpty());
        QCOMPARE(QString::fromStdString(parsed.sError), error);
        QCOMPARE(parsed.ModelPath("/abs/k.txt"), std::string("/abs/k.txt")); // relative names: the picture text run
    }

    // Keys 你, 好, "" and A from a keys file; class 0 blank, 1..4 the keys, 5 a space. Each step lists its best class.
    void ctc_data()
    {
        QTest::addColumn<QList<int>>("best");
        QTest::addColumn<QString>("text");
        QTest::newRow("repeats merge, empty key") << QList<int>{1, 1, 3, 0, 2, 2} << "你好";
        QTest::newRow("blank splits a repeat") << QList<int>{4, 0, 4, 5, 4} << "AA A";
        QTest::newRow("all blank") << QList<int>{0, 0} << "";
        QTest::newRow("no steps") << QList<int>{} << "";
    }

    void ctc()
    {
        QFETCH(QList<int>, best);
        QFETCH(QString, text);
        QTemporaryFile f;
        QVERIFY(f.open() && f.write("你\r\n好\n\nA\n") > 0 && f.flush());
        Strings keys;
        QVERIFY(CCtcDecoder::LoadKeys(f.fileName().toStdString(), &keys) && !CCtcDecoder::LoadKeys(f.fileName().toStdString() + "-", &keys));
        const CCtcDecoder decoder(keys);
        QCOMPARE(decoder.ClassCount(), size_t(6));
        std::vector<float> scores(best.size() * 6, 0.05f);
        for (int t = 0; t < best.size(); ++t)
            scores[t * 6 + best[t]] = t % 2 ? 0.9f : 0.7f;
        float confidence = -1;
        QCOMPARE(QString::fromStdString(decoder.Decode(scores.data(), best.size(), 6, &confidence)), text);
        QVERIFY2(text.isEmpty() ? confidence == 0.f : confidence >= 0.7f && confidence <= 0.9f, qPrintable(QString::number(confidence)));
    }

    // A confident 100x10 core is kept and grown; a faint one and a speck are dropped.
    void dbBoxes()
    {
        cv::Mat prob = cv::Mat::zeros(100, 200, CV_32F);
        prob(cv::Rect(20, 10, 100, 10)) = 0.9f;
        prob(cv::Rect(20, 50, 40, 6)) = 0.4f;
        prob(cv::Rect(150, 80, 2, 2)) = 0.9f;
        const std::vector<cv::RotatedRect> boxes = CDbBoxes::Extract(prob, cv::Size2f(2, 2));
        QCOMPARE(boxes.size(), size_t(1));
        QCOMPARE(boxes[0].center, cv::Point2f(139, 29));
        // 99x9 between pixel centres, grown by 891 * 2 / 216 on each side, then doubled.
        const float grown = 2 * 891.f * 2 / 216;
        QCOMPARE(std::max(boxes[0].size.width, boxes[0].size.height), 2 * 99 + 2 * grown);
        QCOMPARE(std::min(boxes[0].size.width, boxes[0].size.height), 2 * 9 + 2 * grown);
    }

    void order_data()
    {
        QTest::addColumn<Boxes>("boxes");
        QTest::addColumn<Lines>("lines");
        QTest::newRow("two lines, boxes right to left") << Boxes{{300, 102, 20}, {10, 30, 20}, {10, 98, 20}} << Lines{{1}, {2, 0}};
        QTest::newRow("slight tilt stays one line") << Boxes{{400, 58, 30}, {10, 50, 30}, {10, 100, 30}} << Lines{{1, 0}, {2}};
        QTest::newRow("small box between lines") << Boxes{{0, 0, 40}, {0, 40, 40}, {200, 19, 10}} << Lines{{0}, {2}, {1}};
        QTest::newRow("none") << Boxes{} << Lines{};
    }

    void order()
    {
        QFETCH(Boxes, boxes);
        QFETCH(Lines, lines);
        QCOMPARE(CLineOrder::Order(boxes), lines);
    }

    void join()
    {
        QCOMPARE(CLineOrder::Join({"今天", "天气"}), std::string("今天天气"));
        QCOMPARE(CLineOrder::Join({"Hello", "", "World", "好"}), std::string("Hello World 好"));
    }
};

QTEST_GUILESS_MAIN(TstZrocrParts)
#include "tst_zrocrparts.moc"
