// Speech to text and silence removal: the shipped recogniser on its own, then whole runs
// through the library object with the shipped tool folder, and stand-in tools only
// where one must misbehave.

#include "TestHost.h"
#include "core/CObjLibImp.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString kModel = "/usr/share/pocketsphinx/model/en-us";
const QString kGoForward = "go forward ten meters\n";
const QString kOdd = "-it's \"Grüße 声音\""; // a base name a command line could misread

QString Bin(const QString& name)
{
    return qEnvironmentVariable("ZRW_BIN_DIR", QCoreApplication::applicationDirPath()) + "/" + name;
}

QString ToolDir()
{
    return QDir(Bin("../worktools")).canonicalPath();
}

// Runs a program to its end: exit code, stdout, stderr.
std::tuple<int, QString, QString> Exec(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    p.waitForFinished(120000);
    return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
}

bool FFmpeg(const QStringList& args)
{
    return std::get<0>(Exec("ffmpeg", QStringList{"-v", "error", "-y"} + args)) == 0;
}

QString ReadText(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : "<missing>";
}

bool WriteFile(const QString& path, const QByteArray& data, bool executable = false)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size()
        && (!executable || f.setPermissions(f.permissions() | QFileDevice::ExeOwner));
}

} // namespace

class TstAudioWorks : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    const QString m_sWav = m_tmp.filePath("goforward.wav"); // goforward as a 16 kHz mono WAV
    // 8 s of picture and tone, the tone silent from 1 to 4 s and 5 to 7 s
    const QString m_sVideo = m_tmp.filePath("talk.mkv");

    static QVariantMap Params(const QString& file, const QString& saveDir, const QString& tools = ToolDir())
    {
        return {{"sFile", file}, {"sSaveDir", saveDir}, {"sWorkPath", tools}, {"sWorkExc", kModel}};
    }

    // One whole run; the finished map, or {"runs": n} when not exactly one came.
    QVariantMap Run(int type, const QVariantMap& params)
    {
        TestHost::Clear();
        CDetWork* work = m_pLib->CreateWork(type);
        work->SetParams(params);
        work->StartWork();
        work->JoinWork(120000);
        m_pLib->ReleaseWork(work);
        const auto finished = TestHost::Of(WorkLibRs_Finished);
        return finished.size() == 1 ? finished.first().toMap() : QVariantMap{{"runs", finished.size()}};
    }

    static QList<int> Positions()
    {
        QList<int> out;
        for (const QVariant& p : TestHost::Of(WorkLibRs_Progress))
            out.append(p.toMap().value("nPos").toInt());
        return out;
    }

    // A tool folder whose audiosrc holds shell scripts, or links to the shipped program
    // of that name where the script is empty.
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

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        QVERIFY(FFmpeg({"-f", "s16le", "-ar", "16000", "-ac", "1", "-i", "/usr/share/pocketsphinx/test/data/goforward.raw", m_sWav}));
        QVERIFY(FFmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=8", "-f", "lavfi", "-i",
                        "aevalsrc='if(between(t,1,4)+between(t,5,7),0,0.5*sin(2*PI*440*t))':s=16000:d=8", "-c:v",
                        "libx264", "-c:a", "pcm_s16le", m_sVideo}));
    }

    // Its text and its complaints; a language the model does not serve only warns, and the
    // work's own runs (which ask for "zh") show it recognising anyway.
    void recogniser_data()
    {
        QTest::addColumn<QStringList>("convert"); // ffmpeg arguments between input and output
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error"); // stderr, with the input's folder left out
        QTest::addColumn<QString>("text"); // 1.txt
        // Two takes 1.5 s apart are two utterances.
        const QStringList twice{"-f", "lavfi", "-i", "anullsrc=r=16000:cl=mono:d=1.5", "-filter_complex", "[0][1][0]concat=n=3:v=0:a=1"};
        QTest::newRow("a line an utterance") << twice << QStringList{"--language", "en", "-m", kModel} << 0 << "" << kGoForward + kGoForward;
        QTest::newRow("other language warns, stereo") << QStringList{"-ac", "2"} << QStringList{"--language", "zh", "-m", kModel} << 1
                                                      << "test.exe: warning: the model " + kModel + " serves \"en-us\", not \"zh\"; recognising with it anyway\n"
                                                         "test.exe: 1.wav: 2 channels, mono needed\n" << "<missing>";
        QTest::newRow("not a wav") << QStringList{"-f", "mp3"} << QStringList{"-m", kModel} << 1 << "test.exe: 1.wav: not a RIFF/WAVE file\n" << "<missing>";
        QTest::newRow("no model") << QStringList() << QStringList{"-m", "/nonexistent"} << 2 << "test.exe: model folder not found: /nonexistent\n" << "<missing>";
    }

    void recogniser()
    {
        QFETCH(QStringList, convert);
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, error);
        QFETCH(QString, text);
        const QString dir = m_tmp.filePath(QString("rec/") + QTest::currentDataTag());
        QVERIFY(QDir().mkpath(dir) && FFmpeg(QStringList{"-i", m_sWav} + convert + QStringList{dir + "/1.wav"}));
        const auto [code, out, err] = Exec(ToolDir() + "/audiosrc/test.exe", args + QStringList{"-otxt", "-nt", "-f", dir + "/1.wav"});
        QCOMPARE(code, exitCode);
        QCOMPARE(QString(err).remove(dir + "/"), error);
        QCOMPARE(ReadText(dir + "/1.txt"), text);
    }

    // The base name ends at the first dot; an existing output is never overwritten.
    void speechToText()
    {
        const QString saveDir = m_tmp.filePath("out"), input = m_tmp.filePath(kOdd + ".take 1.wav");
        QVERIFY(QFile::copy(m_sWav, input) && QDir().mkpath(saveDir) && WriteFile(saveDir + "/" + kOdd + ".txt", "old"));
        const QVariantMap finished = Run(12, Params(input, saveDir));
        QCOMPARE(finished.value("res_data").toMap(), (QVariantMap{{"resMsg", ""}, {"sOutFile", saveDir + "/" + kOdd + "_1.txt"}}));
        QCOMPARE(finished.value("user_data").toMap(), Params(input, saveDir));
        QCOMPARE(ReadText(saveDir + "/" + kOdd + "_1.txt"), kGoForward);
        QCOMPARE(ReadText(saveDir + "/" + kOdd + ".txt"), QString("old"));
        QCOMPARE(Positions(), (QList<int>{1, 99, 100}));
        QCOMPARE(QDir(saveDir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), (QStringList{kOdd + ".txt", kOdd + "_1.txt"}));
    }

    // Stand-in recognisers print their text where the real one would, so the real
    // converter, the fallbacks and the recogniser's folder and arguments are seen on their own.
    void toolFallbacks_data()
    {
        const QByteArray traditional = "printf '這是繁體中文，軟體與網路\\n' > \"$(dirname \"$8\")/1.txt\"\n";
        const QString args = Tools("args", {{"test.exe", "f=\"$(dirname \"$8\")/1.txt\"; pwd > \"$f\"; echo \"$@\" | sed 's/_temp[0-9]*_[0-9]*/_temp/' >> \"$f\"\n"}});
        QTest::addColumn<QString>("tools");
        QTest::addColumn<QString>("resMsg");
        QTest::addColumn<QString>("text");
        QTest::newRow("converted to simplified") << Tools("zh", {{"test.exe", traditional}, {"opencc.exe", ""}}) << "" << "这是繁体中文，软件与网络\n";
        QTest::newRow("no converter keeps the text") << Tools("nocc", {{"test.exe", traditional}}) << "" << "這是繁體中文，軟體與網路\n";
        QTest::newRow("its own folder, the contract's arguments") << args << "" << args + "/audiosrc\n--language zh -m " + kModel + " -otxt -nt -f "
                + m_tmp.filePath("fb/its own folder, the contract's arguments") + "/_temp/1.wav\n";
        QTest::newRow("no recogniser") << Tools("none", {{"opencc.exe", ""}}) << "recog_audio_failed" << "<missing>";
        QTest::newRow("recogniser writes nothing") << Tools("mute", {{"test.exe", "exit 0\n"}}) << "recog_audio_failed" << "<missing>";
    }

    void toolFallbacks()
    {
        QFETCH(QString, tools);
        QFETCH(QString, resMsg);
        QFETCH(QString, text);
        const QString saveDir = m_tmp.filePath(QString("fb/") + QTest::currentDataTag());
        const QVariantMap res = Run(12, Params(m_sWav, saveDir, tools)).value("res_data").toMap();
        QCOMPARE(res.value("resMsg").toString(), resMsg);
        QCOMPARE(res.value("sOutFile").toString(), resMsg.isEmpty() ? saveDir + "/goforward.txt" : QString());
        QCOMPARE(ReadText(saveDir + "/goforward.txt"), text);
        if (!resMsg.isEmpty()) { // the temporary folder stays for a look at what went wrong
            const QStringList temp = QDir(saveDir).entryList({"_temp*"}, QDir::Dirs);
            QCOMPARE(TestHost::LogsWith("CDetAFltAudio2Text::DoWork Warn>> asr failed " + saveDir + "/" + temp.value(0) + "/1.wav").size(), 1);
        }
    }

    void zrworkText()
    {
        const auto [code, out, err] = Exec(Bin("zrwork"), {"text", m_sWav, "--save-dir", m_tmp.filePath("cli")});
        QCOMPARE(code, 0);
        QVERIFY2(out.endsWith("}\n" + kGoForward), "the finished map, then the text");
    }

    void removesSilences()
    {
        const QString saveDir = m_tmp.filePath("out dir"), input = m_tmp.filePath(kOdd + ".mkv");
        QVERIFY(QDir().mkpath(saveDir) && QFile::copy(m_sVideo, input) && QFile::copy(m_sVideo, saveDir + "/" + kOdd + ".mp3"));
        const QVariantMap finished = Run(9, {{"sFile", input}, {"sSaveDir", saveDir}, {"isVideo", false}, {"nDeMode", 3}});
        // The output is named in the parameter map, not in the result map.
        QCOMPARE(finished.value("res_data").toMap(), (QVariantMap{{"resMsg", ""}}));
        QCOMPARE(finished.value("user_data").toMap().value("sOutFile").toString(), saveDir + "/" + kOdd + "_1.mp3");
        QCOMPARE(Positions(), QList<int>{5});
        const auto [code, probe, err] = Exec("ffprobe", {"-v", "error", "-show_entries", "format=duration:stream=codec_name", "-of",
                                                         "csv=p=0", saveDir + "/" + kOdd + "_1.mp3"});
        // Silences longer than a second go: about the 3 s of tone are left of 8.
        QCOMPARE(probe.section('\n', 0, 0), QString("mp3"));
        QVERIFY2(qAbs(probe.section('\n', 1, 1).toDouble() - 3.0) < 0.3, qPrintable(probe));
    }

    // One finished map each; speech to text reports unreadable input by leaving out
    // "sOutFile" with an empty "resMsg". No file is left in the save folder.
    void badInput_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content"); // "<media>" the recording, "<video>" a silent video, "<dir>"
        QTest::addColumn<QString>("resMsg");
        for (int type : {12, 9}) {
            const QString failed = type == 9 ? "audioRemSilence_failed" : "";
            QTest::addRow("%d missing", type) << type << "gone.wav" << QByteArray() << failed;
            QTest::addRow("%d empty", type) << type << "empty.wav" << QByteArray("") << failed;
            QTest::addRow("%d not media", type) << type << "notes.mp4" << QByteArray("just text\n") << failed;
            QTest::addRow("%d directory", type) << type << "dir.wav" << QByteArray("<dir>") << failed;
            QTest::addRow("%d video without sound", type) << type << "mute.mp4" << QByteArray("<video>") << failed;
            QTest::addRow("%d no save dir", type) << type << "x.wav" << QByteArray("<media>") << "save_dir_failed";
        }
    }

    void badInput()
    {
        QFETCH(int, type);
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(QString, resMsg);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag()), file = dir + "/" + name;
        QVERIFY(QDir().mkpath(dir));
        if (content == "<media>")
            QVERIFY(QFile::copy(m_sWav, file));
        else if (content == "<video>")
            QVERIFY(FFmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=1", file}));
        else if (content == "<dir>")
            QVERIFY(QDir().mkpath(file));
        else if (!content.isNull())
            QVERIFY(WriteFile(file, content));
        const QVariantMap finished = Run(type, Params(file, resMsg == "save_dir_failed" ? "" : dir + "/out"));
        QCOMPARE(finished.value("res_data").toMap(), (QVariantMap{{"resMsg", resMsg}}));
        QVERIFY(!finished.value("user_data").toMap().contains("sOutFile"));
        QCOMPARE(QDir(dir + "/out").entryList(QDir::Files), QStringList());
    }
};

QTEST_GUILESS_MAIN(TstAudioWorks)
#include "tst_audioworks.moc"
