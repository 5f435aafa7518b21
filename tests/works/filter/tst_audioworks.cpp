// Speech to text and silence removal: the shipped recogniser alone and behind zrwork, then whole
// runs, with stand-in recognisers where a run needs a known text or a tool that misbehaves.

#include "TestFiles.h"
#include "TestHost.h"
#include "core/CObjLibImp.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString kModel = "/usr/share/pocketsphinx/model/en-us";
const QString kGoForward = "go forward ten meters\n";
const QString kOdd = "-it's \"Grüße 声音\""; // a base name a command line could misread

QString Bin(const QString& name) { return qEnvironmentVariable("ZRW_BIN_DIR", QCoreApplication::applicationDirPath()) + "/" + name; }
QString ToolDir() { return QDir(Bin("../worktools")).canonicalPath(); }

// Runs a program to its end: exit code, stdout, stderr.
std::tuple<int, QString, QString> Exec(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    p.waitForFinished(120000);
    return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
}

bool FFmpeg(const QStringList& args) { return std::get<0>(Exec("ffmpeg", QStringList{"-v", "error", "-y"} + args)) == 0; }

} // namespace

class TstAudioWorks : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    // goforward as a 16 kHz mono WAV; 8 s of picture and tone, silent from 1 to 4 s and 5 to 7 s (mute.mp4: its first second, no sound)
    const QString m_sWav = m_tmp.filePath("goforward.wav"), m_sVideo = m_tmp.filePath("talk.mkv");

    // A tool folder whose audiosrc holds shell scripts, or links to the shipped program
    // of that name where the script is empty.
    QString Tools(const QString& name, const QMap<QString, QByteArray>& programs)
    {
        const QString dir = m_tmp.filePath("tools/" + name + "/audiosrc");
        QDir().mkpath(dir);
        for (auto it = programs.begin(); it != programs.end(); ++it)
            it.value().isEmpty() ? QFile::link(ToolDir() + "/audiosrc/" + it.key(), dir + "/" + it.key())
                                 : TestFiles::Write(dir + "/" + it.key(), "#!/bin/sh\n" + it.value(), true);
        return QFileInfo(dir).path();
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        QVERIFY(FFmpeg({"-f", "s16le", "-ar", "16000", "-ac", "1", "-i", "/usr/share/pocketsphinx/test/data/goforward.raw", m_sWav}));
        QVERIFY(FFmpeg({"-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=8", "-f", "lavfi", "-i",
                        "aevalsrc='if(between(t,1,4)+between(t,5,7),0,0.5*sin(2*PI*440*t))':s=16000:d=8", "-c:v",
                        "libx264", "-c:a", "pcm_s16le", m_sVideo, "-an", "-t", "1", m_tmp.filePath("mute.mp4")}));
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
        QCOMPARE(TestFiles::Read(dir + "/1.txt"), text);
    }

    // The shipped tool folder and model behind the command line's defaults, through the library.
    void zrworkText()
    {
        const auto [code, out, err] = Exec(Bin("zrwork"), {"text", m_sWav, "--save-dir", m_tmp.filePath("cli")});
        QCOMPARE(code, 0);
        QVERIFY2(out.endsWith("}\n" + kGoForward), "the finished map, then the text");
    }

    // One whole run a row. "content" makes the input: "<speech>" the recording, "<talk>" the toned video,
    // "<video>" a silent one, "<dir>" a folder, else those bytes, or nothing when null. An output named "_1"
    // finds its plain name taken (by "old"); otherwise the save folder does not exist yet. Stand-in recognisers
    // ("tools") print their text where the real one would, so the converter and the fallbacks are seen alone.
    void runs_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("tools"); // "": the shipped ones
        QTest::addColumn<QString>("resMsg");
        QTest::addColumn<QString>("outFile");
        QTest::addColumn<QString>("text"); // of the output; the codec for silence removal
        QTest::addColumn<QList<int>>("progress");
        const QByteArray speech = "<speech>", traditional = "printf '這是繁體中文，軟體與網路\\n' > \"$(dirname \"$8\")/1.txt\"\n";
        const QString wav = "goforward.wav", txt = "goforward.txt", asrFailed = "recog_audio_failed";
        const QList<int> done{1, 99, 100};
        // The base name ends at the first dot. The shipped recogniser's own run is zrworkText's.
        QTest::newRow("12 no converter keeps the text") << 12 << kOdd + ".take 1.wav" << speech << Tools("nocc", {{"test.exe", traditional}}) << ""
                                                        << kOdd + "_1.txt" << "這是繁體中文，軟體與網路\n" << done;
        QTest::newRow("12 converted to simplified") << 12 << wav << speech << Tools("zh", {{"test.exe", traditional}, {"opencc.exe", ""}}) << ""
                                                    << txt << "这是繁体中文，软件与网络\n" << done;
        // The recogniser runs in its own folder with exactly the contract's arguments.
        const QString args = Tools("args", {{"test.exe", "f=\"$(dirname \"$8\")/1.txt\"; pwd > \"$f\"; echo \"$@\" | sed 's/_temp[0-9]*_[0-9]*/_temp/' >> \"$f\"\n"}});
        // Its model is named relatively (to the recogniser's folder) and reaches it as given.
        QTest::newRow("12 arguments") << 12 << wav << speech << args << "" << txt << args + "/audiosrc\n--language zh -m ../model"
                + " -otxt -nt -f " + m_tmp.filePath("runs/12 arguments/out/_temp/1.wav\n") << done;
        QTest::newRow("12 no recogniser") << 12 << wav << speech << Tools("none", {{"opencc.exe", ""}}) << asrFailed << "" << "" << QList<int>{1};
        QTest::newRow("12 recogniser writes nothing") << 12 << wav << speech << Tools("mute", {{"test.exe", "exit 0\n"}}) << asrFailed << "" << "" << QList<int>{1};
        QTest::newRow("9 silences gone") << 9 << kOdd + ".mkv" << QByteArray("<talk>") << "" << "" << kOdd + ".mp3" << "mp3" << QList<int>{5};
        QTest::newRow("9 name taken") << 9 << "talk.mkv" << QByteArray("<talk>") << "" << "" << "talk_1.mp3" << "mp3" << QList<int>{5};
        // Speech to text reports unreadable input by leaving out "sOutFile" with an empty "resMsg".
        for (int type : {12, 9}) {
            const QString failed = type == 9 ? "audioRemSilence_failed" : "";
            const QList<int> progress = type == 9 ? QList<int>{5} : QList<int>();
            // What is no file at all is refused before anything runs.
            QTest::addRow("%d missing", type) << type << "gone.wav" << QByteArray() << "" << failed << "" << "" << QList<int>();
            QTest::addRow("%d empty", type) << type << "empty.wav" << QByteArray("") << "" << failed << "" << "" << QList<int>();
            QTest::addRow("%d not media", type) << type << "notes.mp4" << QByteArray("just text\n") << "" << failed << "" << "" << progress;
            QTest::addRow("%d directory", type) << type << "dir.wav" << QByteArray("<dir>") << "" << failed << "" << "" << QList<int>();
            QTest::addRow("%d video without sound", type) << type << "mute.mp4" << QByteArray("<video>") << "" << failed << "" << "" << progress;
            QTest::addRow("%d no save dir", type) << type << "x.wav" << speech << "" << "save_dir_failed" << "" << "" << QList<int>();
        }
    }

    void runs()
    {
        QFETCH(int, type);
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(QString, tools);
        QFETCH(QString, resMsg);
        QFETCH(QString, outFile);
        QFETCH(QString, text);
        QFETCH(QList<int>, progress);
        const QString dir = m_tmp.filePath(QString("runs/") + QTest::currentDataTag()), file = dir + "/" + name, out = dir + "/out/" + outFile;
        const QString taken = outFile.contains("_1.") ? QString(outFile).replace("_1.", ".") : QString();
        QVERIFY(QDir().mkpath(dir) && (taken.isEmpty() || (QDir().mkpath(dir + "/out") && TestFiles::Write(dir + "/out/" + taken, "old"))));
        const QMap<QByteArray, QString> media{{"<speech>", m_sWav}, {"<talk>", m_sVideo}, {"<video>", m_tmp.filePath("mute.mp4")}};
        QVERIFY(content.isNull() || (media.contains(content) ? QFile::copy(media[content], file)
                                     : content == "<dir>" ? QDir().mkpath(file) : TestFiles::Write(file, content)));
        const QVariantMap params{{"sFile", file}, {"sSaveDir", resMsg == "save_dir_failed" ? "" : dir + "/out"},
                                 {"sWorkPath", tools.isEmpty() ? ToolDir() : tools}, {"sWorkExc", tools.endsWith("/args") ? "../model" : kModel}};
        const QVariantMap finished = TestHost::RunFinished(type, params);
        QVariantMap echoed = finished.value("user_data").toMap();
        // Speech to text names its output in the result map, silence removal in the parameter map.
        QCOMPARE(echoed.take("sOutFile").toString(), type == 9 && !outFile.isEmpty() ? out : QString());
        QCOMPARE(echoed, params);
        QCOMPARE(finished.value("res_data").toMap(), (type == 12 && !outFile.isEmpty() ? QVariantMap{{"resMsg", ""}, {"sOutFile", out}} : QVariantMap{{"resMsg", resMsg}}));
        QCOMPARE(TestHost::Positions(), progress);
        QCOMPARE(QDir(dir + "/out").entryList(QDir::Files), (QStringList{taken, outFile}.filter(QRegularExpression("."))));
        QVERIFY(taken.isEmpty() || TestFiles::Read(dir + "/out/" + taken) == "old");
        // A failed recognition leaves its temporary folder for a look at what went wrong.
        const QString temp = dir + "/out/" + QDir(dir + "/out").entryList({"_temp*"}, QDir::Dirs).value(0);
        QCOMPARE(TestHost::LogsWith("CDetAFltAudio2Text::DoWork Warn>> asr failed " + temp + "/1.wav").size(), int(resMsg == "recog_audio_failed"));
        if (outFile.isEmpty())
            return;
        const auto [code, probe, err] = Exec("ffprobe", {"-v", "error", "-show_entries", "format=duration:stream=codec_name", "-of", "csv=p=0", out});
        // Silences longer than a second go: about the 3 s of tone are left of 8.
        QCOMPARE(type == 12 ? TestFiles::Read(out) : probe.section('\n', 0, 0), text);
        QVERIFY2(type == 12 || qAbs(probe.section('\n', 1, 1).toDouble() - 3.0) < 0.3, qPrintable(probe));
    }

    // A disk that fills while the .mp3 is written: ffmpeg still exits with 0, yet the run
    // fails and leaves nothing behind.
    void fullDisk()
    {
        const QString disk = m_tmp.filePath("full"), tone = m_tmp.filePath("tone.wav");
        QVERIFY(QDir().mkpath(disk) && FFmpeg({"-f", "lavfi", "-i", "sine=d=30", tone}));
        if (std::get<0>(Exec("mount", {"-t", "tmpfs", "-o", "size=64k", "tmpfs", disk})) != 0)
            QSKIP("a small tmpfs cannot be mounted here (needs root)");
        const auto unmount = qScopeGuard([&] { Exec("umount", {disk}); });
        const QVariantMap finished = TestHost::RunFinished(9, {{"sFile", tone}, {"sSaveDir", disk}});
        QCOMPARE(finished.value("res_data").toMap(), (QVariantMap{{"resMsg", "audioRemSilence_failed"}}));
        QCOMPARE(QDir(disk).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }
};

QTEST_GUILESS_MAIN(TstAudioWorks)
#include "tst_audioworks.moc"
