// Document converters: one real round trip through the shipped LibreOffice adapters, the
// "py ins" gate with a slow stand-in converter, and failures and bad input on both types.

#include "TestFiles.h"
#include "TestHost.h"
#include "core/CObjLibImp.h"
#include "work/CDataWaitFiFo.h"

#include <QTemporaryDir>
#include <QtTest>

class TstDocConvert : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    const QString m_sOffice = qEnvironmentVariable("ZRW_BIN_DIR") + "/../worktools/office";
    const QString m_sScratch = m_tmp.filePath("scratch"); // the adapters' TMPDIR: empty again after every run

    // Runs the works together; their result maps, or {"runs": n} when not every work sent
    // exactly one finished map.
    QList<QVariantMap> Run(int type, const QList<QVariantMap>& paramsList)
    {
        TestHost::Clear();
        CWorkLib* lib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        QList<CDetWork*> works;
        for (const QVariantMap& params : paramsList)
            works.append(lib->CreateWork(type)), works.last()->SetParams(params), works.last()->StartWork();
        for (CDetWork* work : works)
            work->JoinWork(120000), lib->ReleaseWork(work);
        QList<QVariantMap> results;
        for (const QVariant& v : TestHost::Of(WorkLibRs_Finished))
            results.append(v.toMap().value("res_data").toMap());
        return results.size() == paramsList.size() ? results : QList<QVariantMap>{{{"runs", results.size()}}};
    }

    QVariantMap Params(int type, const QString& file, const QString& saveDir, const QString& program = QString())
    {
        return {{"sFile", file}, {"sSaveDir", saveDir}, {"sWorkPath", m_sOffice},
                {"sWorkExc", !program.isNull() ? program : m_sOffice + (type == 14 ? "/docx2pdf" : "/pdf2docx")}};
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        QVERIFY(QDir().mkpath(m_sScratch));
        qputenv("TMPDIR", m_sScratch.toUtf8());
    }

    // A failing or missing converter gives the token back too; no office process outlives
    // its adapter (none still names the scratch folder).
    void cleanup()
    {
        QVERIFY2(QDir(m_sScratch).isEmpty(), "the adapters remove their profiles and scratch files");
        QCOMPARE(PyInsPool().Size(), 1);
        for (const QString& pid : QDir("/proc").entryList(QDir::Dirs))
            QVERIFY2(!TestFiles::Read("/proc/" + pid + "/cmdline").contains(m_sScratch), qPrintable(pid));
    }

    // Odd characters in every name, .docx to .pdf and back; nothing else left beside them.
    void roundTrip()
    {
        const QString dir = m_tmp.filePath("round trip"), name = dir + "/%1/-it's \"odd\" ü 文档.%2";
        const QString docx = name.arg("src", "docx"), pdf = name.arg("out", "pdf"), back = name.arg("out", "docx");
        QVERIFY(QDir().mkpath(dir + "/src") && TestFiles::Write(name.arg("src", "txt"), "Hello zrworklib\nSecond line\n"));
        QProcess::execute("soffice", {"-env:UserInstallation=file://" + m_tmp.filePath("profile"), "--headless", "--convert-to",
                                      "docx:MS Word 2007 XML", "--outdir", dir + "/src", name.arg("src", "txt")});
        QDir(m_sScratch).removeRecursively(), QDir().mkpath(m_sScratch);
        QCOMPARE(Run(14, {Params(14, docx, dir + "/out")}), (QList<QVariantMap>{{{"resMsg", ""}, {"sOutFile", pdf}}}));
        QCOMPARE(Run(13, {Params(13, pdf, dir + "/out")}), (QList<QVariantMap>{{{"resMsg", ""}, {"sOutFile", back}}}));
        QCOMPARE(QProcess::execute("/usr/bin/python3", {"-c", "import sys, zipfile; x = zipfile.ZipFile(sys.argv[1]).read("
            "'word/document.xml').decode(); sys.exit(not ('Hello zrworklib' in x and 'Second line' in x))", back}), 0);
        QCOMPARE(QDir(dir + "/out").entryList(QDir::Files | QDir::Hidden).size(), 2);
    }

    // Conversions at once through a slow stand-in never overlap; a failure or bad input gives
    // one finished map naming it and nothing in the save folder. The input checks and the save
    // folder are shared by both types, so each bad input is tried on one; one real conversion fails.
    void runs_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QByteArray>("converter"); // the stand-in's last line; empty: none at all
        QTest::addColumn<QString>("input"); // the content of each input; "<none>": missing
        QTest::addColumn<QString>("saveDir"); // below the case's folder
        QTest::addColumn<QStringList>("made"); // sorted, one per work
        const QByteArray shipped = "<shipped>";
        const QString failed = "docx2pdf_failed_checkoffice";
        QTest::newRow("gate, converts") << 14 << QByteArray("echo pdf > \"$2\"") << "x" << "out" << QStringList{"-a x.pdf", "-b x.pdf", "-c x.pdf"};
        QTest::newRow("converter fails") << 14 << QByteArray("exit 3") << "x" << "out" << QStringList{failed};
        QTest::newRow("no converter") << 14 << QByteArray() << "x" << "out" << QStringList{failed};
        QTest::newRow("missing") << 14 << shipped << "<none>" << "out" << QStringList{failed};
        QTest::newRow("empty") << 13 << shipped << "" << "out" << QStringList{"task_failed"};
        QTest::newRow("not a document") << 13 << shipped << "just text\n" << "out" << QStringList{"task_failed"};
        QTest::newRow("no save dir") << 14 << shipped << "x" << "" << QStringList{"save_dir_failed"};
        QTest::newRow("save dir below a file") << 13 << shipped << "x" << "plain/out" << QStringList{"save_dir_failed"};
    }

    void runs()
    {
        QFETCH(int, type);
        QFETCH(QByteArray, converter);
        QFETCH(QString, input);
        QFETCH(QString, saveDir);
        QFETCH(QStringList, made);
        const QString dir = m_tmp.filePath(QString("runs/") + QTest::currentDataTag());
        const QByteArray busy = "'" + dir.toUtf8() + "/busy'", log = "'" + dir.toUtf8() + "/runs.log'";
        const bool standIn = converter != "<shipped>", ok = made.first().endsWith(".pdf");
        QVERIFY(QDir().mkpath(dir) && TestFiles::Write(dir + "/plain", "x")
                && (!standIn || converter.isEmpty() || TestFiles::Write(dir + "/slow converter", "#!/bin/sh\nmkdir " + busy + " || echo overlap >> "
                                                                        + log + "\nsleep 0.2\nrmdir " + busy + "\necho run >> " + log + "\n" + converter + "\n", true)));
        QList<QVariantMap> params;
        for (const QString& name : QStringList{"/-a x", "/-b x", "/-c x"}.mid(0, made.size())) {
            const QString file = dir + name + (type == 14 ? ".docx" : ".pdf");
            QVERIFY(input == "<none>" || TestFiles::Write(file, input.toUtf8()));
            params.append(Params(type, file, saveDir.isEmpty() ? saveDir : dir + "/" + saveDir, standIn ? dir + "/slow converter" : QString()));
        }
        QStringList results;
        for (const QVariantMap& r : Run(type, params))
            results << r["resMsg"].toString() + QFileInfo(r["sOutFile"].toString()).fileName();
        results.sort();
        QCOMPARE(results, made);
        // The output name is chosen before the gate is taken: only a later run finds it taken.
        if (ok)
            QCOMPARE(Run(type, {params.first()}).first()["sOutFile"].toString(), dir + "/out/-a x_1.pdf");
        else
            QVERIFY2(QDir(dir + "/out").entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty(), "nothing half-written");
        QCOMPARE(TestFiles::Read(dir + "/runs.log"), standIn && !converter.isEmpty() ? QString("run\n").repeated(made.size() + ok) : "<missing>");
    }
};

QTEST_GUILESS_MAIN(TstDocConvert)
#include "tst_docconvert.moc"
