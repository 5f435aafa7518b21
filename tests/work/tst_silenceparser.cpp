// The silencedetect report parser: real ffmpeg output and the state machine's corners.
#include "work/FFmpegOps.h"

#include <QtTest>

class TestSilenceParser : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void parse_data();
    void parse();
};

namespace {

// "start-end" per interval, joined by "|", so a mismatch prints readably.
QString toText(const QVariantList& list)
{
    QStringList parts;
    for (const QVariant& v : list) {
        const QVariantMap m = v.toMap();
        parts << QString::number(m.value("startTs").toDouble(), 'g', 10) + QLatin1Char('-')
                + QString::number(m.value("endTs").toDouble(), 'g', 10);
    }
    return parts.join(QLatin1Char('|'));
}

QString sd(const QString& text)
{
    return QStringLiteral("[silencedetect @ 0x55d1171aa9c0] ") + text;
}

} // namespace

void TestSilenceParser::parse_data()
{
    QTest::addColumn<QString>("report");
    QTest::addColumn<QString>("expected");

    // Captured from ffmpeg 5.1 on sine 0-2 s, silence 2-4 s, sine 4-6 s; the progress
    // line ends in a bare "\r" right before the first report line.
    QTest::newRow("real capture") << QStringLiteral(
        "Output #0, null, to 'pipe:':\n  Metadata:\n    encoder         : Lavf59.27.100\n"
        "size=N/A time=00:00:00.04 bitrate=N/A speed=4.64e+04x    \r"
        "[silencedetect @ 0x56009b6537c0] silence_start: 1.99991\n"
        "[silencedetect @ 0x56009b6537c0] silence_end: 4.00011 | silence_duration: 2.0002\n"
        "size=N/A time=00:00:06.00 bitrate=N/A speed=1.53e+03x    \n"
        "video:0kB audio:517kB subtitle:0kB other streams:0kB global headers:0kB muxing overhead: unknown\n")
                                      << "1.99991-4.00011";
    // Leading silence reported at 0, trailing one closed by ffmpeg after the summary.
    QTest::newRow("real capture, silence at both ends") << QStringLiteral(
        "size=N/A time=00:00:00.25 bitrate=N/A speed=N/A    \r"
        "[silencedetect @ 0x55d1171aa9c0] silence_start: 0\n"
        "[silencedetect @ 0x55d1171aa9c0] silence_end: 1.50012 | silence_duration: 1.50012\n"
        "[silencedetect @ 0x55d1171aa9c0] silence_start: 2.5\n"
        "size=N/A time=00:00:04.50 bitrate=N/A speed=3.79e+03x    \n"
        "video:0kB audio:70kB subtitle:0kB other streams:0kB global headers:0kB muxing overhead: unknown\n"
        "[silencedetect @ 0x55d1171aa9c0] silence_end: 4.5 | silence_duration: 2\n")
                                                        << "0-1.50012|2.5-4.5";
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("second start ignored while pending")
        << sd("silence_start: 1\n") + sd("silence_start: 2\n") + sd("silence_end: 3 | silence_duration: 1")
        << "1-3";
    QTest::newRow("end equal to start clears the pending start")
        << sd("silence_start: 2\n") + sd("silence_end: 2\n") + sd("silence_end: 5\n") << "";
    QTest::newRow("cleared start lets the next pair through")
        << sd("silence_start: 2\n") + sd("silence_end: 2\n") + sd("silence_start: 3\n") + sd("silence_end: 4")
        << "3-4";
    QTest::newRow("end before start yields nothing")
        << sd("silence_start: 5\n") + sd("silence_end: 4\n") + sd("silence_end: 6") << "";
    QTest::newRow("trailing start without end") << sd("silence_start: 1\n") + sd("silence_end: 2\n")
            + sd("silence_start: 5\n") << "1-2";
    QTest::newRow("negative start dropped, its end ignored")
        << sd("silence_start: -0.02\n") + sd("silence_end: 1.5\n") + sd("silence_start: 3\n") + sd("silence_end: 4")
        << "3-4";
    QTest::newRow("negative end keeps the start pending")
        << sd("silence_start: 1\n") + sd("silence_end: -2\n") + sd("silence_end: 3") << "1-3";
    QTest::newRow("leading blanks skip the line")
        << QStringLiteral("  ") + sd("silence_start: 1\n") + sd("silence_end: 2\n") << "";
    QTest::newRow("prefix not at the start") << QStringLiteral("x ") + sd("silence_start: 1\n") + sd("silence_end: 2")
                                             << "";
    QTest::newRow("upper-case prefix skipped")
        << QStringLiteral("[SILENCEDETECT @ 0x1] silence_start: 1\n[SILENCEDETECT @ 0x1] silence_end: 2") << "";
    QTest::newRow("key words match in any case") << sd("SILENCE_START: 1\n") + sd("Silence_End: 2") << "1-2";
    QTest::newRow("CRLF and blank lines") << sd("silence_start: 1\r\n\r\n") + sd("silence_end: 2\r\n") << "1-2";
    QTest::newRow("unparsable numbers skipped")
        << sd("silence_start: .\n") + sd("silence_start: 1.2.3\n") + sd("silence_start: 1.5\n") + sd("silence_end: 2")
        << "1.5-2";
    // QRegExp settles on the first colon here where a backtracking engine would take the last.
    QTest::newRow("two colons on a start line") << sd("silence_start: 1.5 | at: 2.5\n") + sd("silence_end: 4")
                                                << "1.5-4";
    QTest::newRow("end label may carry text before the colon") << sd("silence_start: 1\n") + sd("silence_end at: 3")
                                                               << "1-3";
}

void TestSilenceParser::parse()
{
    QFETCH(QString, report);
    QFETCH(QString, expected);
    const QVariantList list = FFmpegOps::ParseSilence(report);
    QCOMPARE(toText(list), expected);
    for (const QVariant& v : list) {
        const QVariantMap m = v.toMap();
        QVERIFY2(m.value("startTs").type() == QVariant::Double && m.value("endTs").type() == QVariant::Double,
                 "callers read the interval bounds as doubles");
    }
}

QTEST_GUILESS_MAIN(TestSilenceParser)
#include "tst_silenceparser.moc"
