// Document converters: real round trips through the shipped LibreOffice adapters, the
// "py ins" gate with a slow stand-in converter, and bad input on both types.

#include "TestHost.h"
#include "core/CObjLibImp.h"
#include "work/CDataWaitFiFo.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

bool WriteFile(const QString& path, const QByteArray& data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

QString Output(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    p.waitForFinished(120000);
    return QString::fromUtf8(p.readAllStandardOutput());
}

} // namespace

class TstDocConvert : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    CWorkLib* m_pLib = nullptr;
    const QString m_sOffice = qEnvironmentVariable("ZRW_BIN_DIR") + "/../worktools/office";
    QString m_sScratch; // the adapters' TMPDIR: empty again after every run

    // Runs the works together; the result map of each, or {"runs": n} when a work did
    // not send exactly one finished map.
    QList<QVariantMap> Run(int type, const QList<QVariantMap>& paramsList)
    {
        TestHost::Clear();
        QList<CDetWork*> works;
        for (const QVariantMap& params : paramsList) {
            works.append(m_pLib->CreateWork(type));
            works.last()->SetParams(params);
        }
        for (CDetWork* work : works)
            work->StartWork();
        for (CDetWork* work : works) {
            work->JoinWork(120000);
            m_pLib->ReleaseWork(work);
        }
        QList<QVariantMap> results;
        for (const QVariant& v : TestHost::Of(WorkLibRs_Finished))
            results.append(v.toMap().value("res_data").toMap());
        if (results.size() != paramsList.size())
            return {{{"runs", results.size()}}};
        std::sort(results.begin(), results.end(), [](const QVariantMap& a, const QVariantMap& b) {
            return a.value("sOutFile").toString() < b.value("sOutFile").toString();
        });
        return results;
    }

    QVariantMap Shipped(int type, const QString& file, const QString& saveDir)
    {
        return {{"sFile", file}, {"sSaveDir", saveDir}, {"sWorkPath", m_sOffice},
                {"sWorkExc", m_sOffice + (type == 14 ? "/docx2pdf" : "/pdf2docx")}};
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestHost::Install({{"appData", m_tmp.path()}});
        m_pLib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        m_sScratch = m_tmp.filePath("scratch");
        QVERIFY(QDir().mkpath(m_sScratch));
        qputenv("TMPDIR", m_sScratch.toUtf8());
    }

    void cleanup()
    {
        QVERIFY2(QDir(m_sScratch).isEmpty(), "the adapters remove their profiles and scratch files");
        QCOMPARE(PyInsPool().Size(), 1);
    }

    void cleanupTestCase()
    {
        // No office process survives its adapter: none still names our scratch folder.
        for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
            QFile cmd("/proc/" + pid + "/cmdline");
            if (cmd.open(QIODevice::ReadOnly))
                QVERIFY2(!cmd.readAll().contains(m_sScratch.toUtf8()), qPrintable("left running: " + pid));
        }
    }

    // Odd characters in every name, all the way through LibreOffice and back.
    void roundTrip()
    {
        const QString dir = m_tmp.filePath("round trip"), txt = dir + "/-it's \"odd\" ü 文档.txt";
        QVERIFY(QDir().mkpath(dir + "/src") && WriteFile(txt, "Hello zrworklib\nSecond line\n"));
        Output("soffice", {"-env:UserInstallation=file://" + m_sScratch + "/p", "--headless", "--convert-to",
                           "docx:MS Word 2007 XML", "--outdir", dir + "/src", txt});
        QDir(m_sScratch).removeRecursively();
        QDir().mkpath(m_sScratch);
        const QString docx = dir + "/src/-it's \"odd\" ü 文档.docx";
        QVERIFY2(QFileInfo(docx).size() > 0, "LibreOffice must be able to write the sample .docx");

        const QString pdf = dir + "/out/-it's \"odd\" ü 文档.pdf";
        QCOMPARE(Run(14, {Shipped(14, docx, dir + "/out")}), (QList<QVariantMap>{{{"resMsg", ""}, {"sOutFile", pdf}}}));
        QCOMPARE(TestHost::LogsWith("CProcessWork::StartTask Info exec " + docx + " " + pdf).size(), 1);
        QCOMPARE(Output("pdftotext", {pdf, "-"}).simplified(), QString("Hello zrworklib Second line"));

        const QString back = dir + "/out/-it's \"odd\" ü 文档.docx";
        QCOMPARE(Run(13, {Shipped(13, pdf, dir + "/out")}), (QList<QVariantMap>{{{"resMsg", ""}, {"sOutFile", back}}}));
        QCOMPARE(TestHost::LogsWith("CProcessWork::StartTask Info exec convert " + pdf + " " + back).size(), 1);
        const QString xml = Output("/usr/bin/python3", {"-c",
            "import sys, zipfile; sys.stdout.write(zipfile.ZipFile(sys.argv[1]).read('word/document.xml').decode())", back});
        QVERIFY2(xml.contains("Hello zrworklib") && xml.contains("Second line"), qPrintable(xml.left(400)));
        QCOMPARE(QDir(dir + "/out").entryList(QDir::Files | QDir::Hidden), (QStringList{QFileInfo(back).fileName(), QFileInfo(pdf).fileName()}));
    }

    // Three conversions at once with a slow stand-in: their runs never overlap, and the
    // token comes back after failing converters too.
    void gate_data()
    {
        QTest::addColumn<QString>("program"); // "<stand-in>" or a missing program
        QTest::addColumn<QStringList>("inputs");
        QTest::addColumn<int>("succeeded");
        QTest::newRow("all succeed") << "<stand-in>" << QStringList{"a.docx", "b.docx", "c.x.docx"} << 3;
        QTest::newRow("two fail") << "<stand-in>" << QStringList{"fail.docx", "ok.docx", "b/fail.docx"} << 1;
        QTest::newRow("no converter") << "/nonexistent/docx2pdf" << QStringList{"a.docx", "b.docx", "c.docx"} << 0;
    }

    void gate()
    {
        QFETCH(QString, program);
        QFETCH(QStringList, inputs);
        QFETCH(int, succeeded);
        const QString dir = m_tmp.filePath(QString("gate/") + QTest::currentDataTag()), log = dir + "/runs.log";
        if (program == "<stand-in>") {
            program = dir + "/slow converter";
            QVERIFY(QDir().mkpath(dir) && WriteFile(program, "#!/bin/sh\nt0=$(date +%s%N)\nsleep 0.3\n"
                "case \"${1##*/}\" in *fail*) r=3 ;; *) echo pdf > \"$2\"; r=0 ;; esac\n"
                "echo \"$t0 $(date +%s%N)\" >> '" + log.toUtf8() + "'\nexit $r\n"));
            QVERIFY(QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        }
        QList<QVariantMap> params;
        for (const QString& input : inputs) {
            QVERIFY(QDir().mkpath(QFileInfo(dir + "/" + input).path()) && WriteFile(dir + "/" + input, "doc"));
            params.append({{"sFile", dir + "/" + input}, {"sSaveDir", dir + "/out"}, {"sWorkPath", dir}, {"sWorkExc", program}});
        }
        const QList<QVariantMap> results = Run(14, params);
        QCOMPARE(results.size(), 3);
        QStringList made;
        for (const QVariantMap& r : results) {
            if (r.value("resMsg").toString().isEmpty())
                made << QFileInfo(r.value("sOutFile").toString()).fileName();
            else
                QCOMPARE(r, (QVariantMap{{"resMsg", "docx2pdf_failed_checkoffice"}}));
        }
        QCOMPARE(made.size(), succeeded);
        if (succeeded == 3) {
            QCOMPARE(made, (QStringList{"a.pdf", "b.pdf", "c.pdf"}));
            // The output name is chosen before the gate is taken, so only a later run sees it taken.
            QCOMPARE(Run(14, {params.first()}).first().value("sOutFile").toString(), dir + "/out/a_1.pdf");
        }

        QFile runs(log);
        QList<QPair<qint64, qint64>> spans;
        if (runs.open(QIODevice::ReadOnly))
            for (const QByteArray& line : runs.readAll().split('\n'))
                if (!line.isEmpty())
                    spans.append({line.split(' ').at(0).toLongLong(), line.split(' ').at(1).toLongLong()});
        QCOMPARE(spans.size(), program.startsWith("/nonexistent") ? 0 : 3 + (succeeded == 3));
        std::sort(spans.begin(), spans.end());
        for (int i = 1; i < spans.size(); ++i)
            QVERIFY2(spans[i].first >= spans[i - 1].second, "converter runs overlap");
    }

    // One finished map naming the failure, nothing left in the save folder.
    void badInput_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("input"); // "<none>" missing, "<dir>" a folder, else the content
        QTest::addColumn<QString>("saveDir"); // below the case's folder
        QTest::addColumn<QString>("resMsg");
        for (int type : {14, 13}) {
            const QString word = type == 14 ? "docx2pdf_failed_checkoffice" : "task_failed";
            const QByteArray t = QByteArray::number(type);
            QTest::newRow(t + " missing") << type << "<none>" << "out" << word;
            QTest::newRow(t + " empty") << type << "" << "out" << word;
            QTest::newRow(t + " folder") << type << "<dir>" << "out" << word;
            QTest::newRow(t + " not a document") << type << "just text\n" << "out" << word;
            QTest::newRow(t + " no save dir") << type << "x" << "" << "save_dir_failed";
            QTest::newRow(t + " save dir below a file") << type << "x" << "plain/out" << "save_dir_failed";
        }
    }

    void badInput()
    {
        QFETCH(int, type);
        QFETCH(QString, input);
        QFETCH(QString, saveDir);
        QFETCH(QString, resMsg);
        const QString dir = m_tmp.filePath(QString("bad/") + QTest::currentDataTag());
        const QString file = dir + (type == 14 ? "/-bad input.docx" : "/-bad input.pdf");
        QVERIFY(QDir().mkpath(dir) && WriteFile(dir + "/plain", "x"));
        if (input == "<dir>")
            QVERIFY(QDir().mkpath(file));
        else if (input != "<none>")
            QVERIFY(WriteFile(file, input.toUtf8()));
        const QString out = saveDir.isEmpty() ? QString() : dir + "/" + saveDir;
        QCOMPARE(Run(type, {Shipped(type, file, out)}), (QList<QVariantMap>{{{"resMsg", resMsg}}}));
        QVERIFY2(QDir(dir + "/out").entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty(),
                 "nothing half-written");
    }
};

QTEST_GUILESS_MAIN(TstDocConvert)
#include "tst_docconvert.moc"
