// Speech to text: the shipped recogniser on its own, then whole runs through the library
// object with the shipped tool folder, and stand-in tools where one must misbehave.

#include "TestHost.h"
#include "core/CObjLibImp.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString kModel = "/usr/share/pocketsphinx/model/en-us";
const QString kSpeech = "/usr/share/pocketsphinx/test/data/goforward.raw";

QString ToolDir()
{
    return QDir(qEnvironmentVariable("ZRW_BIN_DIR") + "/../worktools").canonicalPath();
}

// ffmpeg with the given arguments; true on exit status 0.
bool FFmpeg(const QStringList& args)
{
    QProcess ff;
    ff.start("ffmpeg", QStringList{"-v", "error", "-y"} + args);
    return ff.waitForFinished(60000) && ff.exitCode() == 0;
}

QString ReadText(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : "<missing>";
}

bool WriteFile(const QString& path, const QByteArray& data, bool executable = false)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(data) != data.size())
        return false;
    return !executable || f.setPermissions(f.permissions() | QFileDevice::ExeOwner);
}

} // namespace

class TstAudio2Text : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    QString m_sWav; // goforward as a 16 kHz mono WAV
    QString m_sTwice; // goforward, 1.5 s of silence, goforward

    QVariantMap Params(const QString& file, const QString& saveDir, const QString& tools) const
    {
        return {{"sFile", file}, {"sSaveDir", saveDir}, {"sWorkPath", tools}, {"sWorkExc", kModel}};
    }

    // One whole run; the finished map, or {"runs": n} when not exactly one came.
    QVariantMap Run(const QVariantMap& params)
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(12);
        work->SetParams(params);
        work->StartWork();
        work->JoinWork(120000);
        m_pLib->ReleaseWork(work);
        const auto finished = TestHost::Of(WorkLibRs_Finished);
        return finished.size() == 1 ? finished.first().toMap() : QVariantMap{{"runs", finished.size()}};
    }

    // A tool folder whose audiosrc holds the given programs: the shipped one of that
    // name (when the script is empty) or a shell script.
    QString Tools(const QString& name, const QMap<QString, QByteArray>& programs)
    {
        const QString dir = m_tmp.filePath("tools/" + name + "/audiosrc");
        QDir().mkpath(dir);
        for (auto it = programs.begin(); it != programs.end(); ++it) {
            if (it.value().isEmpty())
                QFile::link(ToolDir() + "/audiosrc/" + it.key(), dir + "/" + it.key());
            else
                WriteFile(dir + "/" + it.key(), "#!/bin/sh\n" + it.value(), true);
        }
        return QFileInfo(dir).path();
    }

    // Runs the shipped recogniser on a copy of wav in a fresh folder: exit code, stderr, 1.txt.
    std::tuple<int, QString, QString> Recognise(const QString& wav, const QStringList& extra)
    {
        const QString dir = m_tmp.filePath(QString("rec/") + QTest::currentDataTag());
        QDir().mkpath(dir);
        QFile::copy(wav, dir + "/1.wav");
        QProcess p;
        p.start(ToolDir() + "/audiosrc/test.exe", extra + QStringList{"-otxt", "-nt", "-f", dir + "/1.wav"});
        p.waitForFinished(60000);
        return {p.exitCode(), QString::fromUtf8(p.readAllStandardError()), ReadText(dir + "/1.txt")};
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        m_sWav = m_tmp.filePath("goforward.wav");
        m_sTwice = m_tmp.filePath("twice.wav");
        QVERIFY2(FFmpeg({"-f", "s16le", "-ar", "16000", "-ac", "1", "-i", kSpeech, m_sWav}), "goforward.raw is needed");
        QVERIFY(FFmpeg({"-i", m_sWav, "-f", "lavfi", "-i", "anullsrc=r=16000:cl=mono:d=1.5", "-filter_complex",
                        "[0][1][0]concat=n=3:v=0:a=1", m_sTwice}));
    }

    void recogniser_data()
    {
        QTest::addColumn<QString>("input"); // "<twice>", "<stereo>", "<8bit>", "<text>", else a lavfi source
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("stderrText"); // "" when nothing is said
        QTest::addColumn<QString>("text"); // 1.txt
        const QString en = "go forward ten meters\n";
        QTest::newRow("one line an utterance") << "<twice>" << QStringList{"-m", kModel, "--language", "en"} << 0 << ""
                                               << en + en;
        QTest::newRow("other language warns") << "<twice>" << QStringList{"--language", "zh", "-m", kModel} << 0
                                              << "test.exe: warning: the model " + kModel
                + " serves \"en-us\", not \"zh\"; recognising with it anyway\n"
                                              << en + en;
        QTest::newRow("silence gives no line") << "anullsrc=r=16000:cl=mono:d=2" << QStringList{"-m", kModel} << 0 << ""
                                               << "";
        QTest::newRow("stereo") << "<stereo>" << QStringList{"-m", kModel} << 1 << ": 2 channels, mono needed\n"
                                << "<missing>";
        QTest::newRow("8 kHz") << "<8k>" << QStringList{"-m", kModel} << 1 << ": 8000 Hz, 16000 Hz needed\n" << "<missing>";
        QTest::newRow("not a wav") << "<text>" << QStringList{"-m", kModel} << 1 << ": not a RIFF/WAVE file\n"
                                   << "<missing>";
        QTest::newRow("no model") << "<twice>" << QStringList{"-m", "/nonexistent"} << 2
                                  << "test.exe: model folder not found: /nonexistent\n" << "<missing>";
    }

    void recogniser()
    {
        QFETCH(QString, input);
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, stderrText);
        QFETCH(QString, text);
        QString wav = m_tmp.filePath(QString("in-") + QTest::currentDataTag() + ".wav");
        if (input == "<twice>")
            wav = m_sTwice;
        else if (input == "<stereo>")
            QVERIFY(FFmpeg({"-i", m_sWav, "-ac", "2", wav}));
        else if (input == "<8k>")
            QVERIFY(FFmpeg({"-i", m_sWav, "-ar", "8000", wav}));
        else if (input == "<text>")
            QVERIFY(WriteFile(wav, "just text\n"));
        else
            QVERIFY(FFmpeg({"-f", "lavfi", "-i", input, "-c:a", "pcm_s16le", wav}));
        const auto [code, err, txt] = Recognise(wav, args);
        QCOMPARE(code, exitCode);
        if (stderrText.startsWith(':'))
            QVERIFY2(err.startsWith("test.exe: /") && err.endsWith(stderrText), qPrintable(err));
        else
            QCOMPARE(err, stderrText);
        QCOMPARE(txt, text);
    }

    void speechToText()
    {
        const QString saveDir = m_tmp.filePath("out"), input = m_tmp.filePath("goforward.take 1.wav");
        QVERIFY(QFile::copy(m_sWav, input) && QDir().mkpath(saveDir) && WriteFile(saveDir + "/goforward.txt", "old"));
        const QVariantMap params = Params(input, saveDir, ToolDir());
        const QVariantMap finished = Run(params);
        // The base name ends at the first dot; an existing output is never overwritten.
        QCOMPARE(finished.value("res_data").toMap(),
                 (QVariantMap{{"resMsg", ""}, {"sOutFile", saveDir + "/goforward_1.txt"}}));
        QCOMPARE(finished.value("user_data").toMap(), params);
        QCOMPARE(ReadText(saveDir + "/goforward_1.txt"), QString("go forward ten meters\n"));
        QCOMPARE(ReadText(saveDir + "/goforward.txt"), QString("old"));
        QList<int> positions;
        for (const QVariant& p : TestHost::Of(WorkLibRs_Progress))
            positions.append(p.toMap().value("nPos").toInt());
        QCOMPARE(positions, (QList<int>{1, 99, 100}));
        QCOMPARE(QDir(saveDir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 (QStringList{"goforward.txt", "goforward_1.txt"}));
    }

    // Stand-in recognisers print their text where the real one would, so the converter
    // and the fallbacks can be seen on their own.
    void toolFallbacks_data()
    {
        const QByteArray traditional = "printf '這是繁體中文，軟體與網路\\n' > \"$(dirname \"$8\")/1.txt\"\n";
        QTest::addColumn<QString>("tools");
        QTest::addColumn<QString>("resMsg");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("log");
        QTest::newRow("converted to simplified") << Tools("zh", {{"test.exe", traditional}, {"opencc.exe", ""}}) << ""
                                                 << "这是繁体中文，软件与网络\n" << "";
        QTest::newRow("no converter keeps the text") << Tools("nocc", {{"test.exe", traditional}}) << ""
                                                     << "這是繁體中文，軟體與網路\n" << "";
        QTest::newRow("no recogniser") << Tools("none", {{"opencc.exe", ""}}) << "recog_audio_failed" << "<none>"
                                       << "CDetAFltAudio2Text::DoWork Warn>> asr failed ";
        QTest::newRow("recogniser writes nothing") << Tools("mute", {{"test.exe", "exit 0\n"}, {"opencc.exe", ""}})
                                                   << "recog_audio_failed" << "<none>"
                                                   << "CDetAFltAudio2Text::DoWork Warn>> asr failed ";
    }

    void toolFallbacks()
    {
        QFETCH(QString, tools);
        QFETCH(QString, resMsg);
        QFETCH(QString, text);
        QFETCH(QString, log);
        const QString saveDir = m_tmp.filePath(QString("fb/") + QTest::currentDataTag());
        const QVariantMap res = Run(Params(m_sWav, saveDir, tools)).value("res_data").toMap();
        QCOMPARE(res.value("resMsg").toString(), resMsg);
        QCOMPARE(res.value("sOutFile").toString(), text == "<none>" ? QString() : saveDir + "/goforward.txt");
        QCOMPARE(ReadText(saveDir + "/goforward.txt"), text == "<none>" ? "<missing>" : text);
        if (!log.isEmpty()) {
            const QStringList temp = QDir(saveDir).entryList({"_temp*"}, QDir::Dirs);
            QCOMPARE(temp.size(), 1); // left for a look at what went wrong
            QCOMPARE(TestHost::LogsWith(log + saveDir + "/" + temp.first() + "/1.wav").size(), 1);
        }
    }

    // The recogniser runs in its own folder with exactly the contract's arguments.
    void commandLine()
    {
        const QString tools = Tools("args", {{"test.exe", "pwd > \"$(dirname \"$8\")/1.txt\"; echo \"$@\" >> \"$(dirname \"$8\")/1.txt\"\n"}});
        const QString saveDir = m_tmp.filePath("args");
        const QVariantMap res = Run(Params(m_sWav, saveDir, tools)).value("res_data").toMap();
        const QStringList lines = ReadText(res.value("sOutFile").toString()).split('\n');
        QCOMPARE(lines.value(0), tools + "/audiosrc");
        const QRegularExpression expected("^--language zh -m " + QRegularExpression::escape(kModel) + " -otxt -nt -f "
                                          + QRegularExpression::escape(saveDir) + "/_temp\\d+_\\d+/1.wav$");
        QVERIFY2(expected.match(lines.value(1)).hasMatch(), qPrintable(lines.value(1)));
    }

    // Input that ffmpeg cannot read ends the run with an empty "resMsg" and no
    // "sOutFile"; awkward names work like any other.
    void inputs_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content"); // "<media>" a copy of the recording
        QTest::addColumn<QString>("outFile");
        QTest::newRow("missing") << "gone.wav" << QByteArray() << "";
        QTest::newRow("empty") << "empty.wav" << QByteArray("") << "";
        QTest::newRow("not media") << "notes.mp4" << QByteArray("just text\n") << "";
        QTest::newRow("directory") << "folder.wav" << QByteArray("<dir>") << "";
        QTest::newRow("awkward name") << "-it's \"Grüße 声音\".wav" << QByteArray("<media>") << "-it's \"Grüße 声音\".txt";
    }

    void inputs()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(QString, outFile);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag()), file = dir + "/" + name;
        QVERIFY(QDir().mkpath(dir));
        if (content == "<media>")
            QVERIFY(QFile::copy(m_sWav, file));
        else if (content == "<dir>")
            QVERIFY(QDir().mkpath(file));
        else if (!content.isNull())
            QVERIFY(WriteFile(file, content));
        const QVariantMap res = Run(Params(file, dir + "/out", ToolDir())).value("res_data").toMap();
        QCOMPARE(res.value("resMsg").toString(), QString());
        QCOMPARE(res.value("sOutFile").toString(), outFile.isEmpty() ? QString() : dir + "/out/" + outFile);
        if (outFile.isEmpty())
            QCOMPARE(QDir(dir + "/out").entryList(QDir::Files), QStringList());
    }

    // The command-line host fills the tool folder and the model, and prints the text last.
    void zrworkText()
    {
        QProcess p;
        p.start(qEnvironmentVariable("ZRW_BIN_DIR") + "/zrwork", {"text", m_sWav, "--save-dir", m_tmp.filePath("cli")});
        QVERIFY(p.waitForFinished(120000));
        QCOMPARE(p.exitCode(), 0);
        QVERIFY2(p.readAllStandardOutput().endsWith("}\ngo forward ten meters\n"), "the map, then the text");
    }

    void noSaveDir()
    {
        QCOMPARE(Run(Params(m_sWav, QString(), ToolDir())).value("res_data").toMap(),
                 (QVariantMap{{"resMsg", "save_dir_failed"}}));
    }
};

QTEST_GUILESS_MAIN(TstAudio2Text)
#include "tst_audio2text.moc"
