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
    const QString m_sOffice = qEnvironmentVariable("ZRW_BIN_DIR") + "/../worktools/office";
    QString m_sScratch; // the adapters' TMPDIR: empty again after every run

    // Runs the works together; their result maps, or {"runs": n} when not every work sent
    // exactly one finished map.
    QList<QVariantMap> Run(int type, const QList<QVariantMap>& paramsList)
    {
        TestHost::Clear();
        CWorkLib* lib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        QList<CDetWork*> works;
        for (const QVariantMap& params : paramsList)
            works.append(lib->CreateWork(type)), works.last()->SetParams(params);
        for (CDetWork* work : works)
            work->StartWork();
        for (CDetWork* work : works)
            work->JoinWork(120000), lib->ReleaseWork(work);
        QList<QVariantMap> results;
        for (const QVariant& v : TestHost::Of(WorkLibRs_Finished))
            results.append(v.toMap().value("res_data").toMap());
        return results.size() == paramsList.size() ? results : QList<QVariantMap>{{{"runs", results.size()}}};
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
        m_sScratch = m_tmp.filePath("scratch");
        QVERIFY(QDir().mkpath(m_sScratch));
        qputenv("TMPDIR", m_sScratch.toUtf8());
    }

    void cleanup()
    {
        QVERIFY2(QDir(m_sScratch).isEmpty(), "the adapters remove their profiles and scratch files");
        QCOMPARE(PyInsPool().Size(), 1);
    }

    // No office process outlives its adapter: none still names the scratch folder.
    void cleanupTestCase()
    {
        for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
            QFile cmd("/proc/" + pid + "/cmdline");
            QVERIFY2(!cmd.open(QIODevice::ReadOnly) || !cmd.readAll().contains(m_sScratch.toUtf8()), qPrintable(pid));
        }
    }

    // Odd characters in every name, all the way through LibreOffice and back.
    void roundTrip()
    {
        const QString dir = m_tmp.filePath("round trip"), name = dir + "/%1/-it's \"odd\" ü 文档.%2";
        QVERIFY(QDir().mkpath(dir + "/src") && WriteFile(name.arg("src", "txt"), "Hello zrworklib\nSecond line\n"));
        Output("soffice", {"-env:UserInstallation=file://" + m_tmp.filePath("profile"), "--headless", "--convert-to",
                           "docx:MS Word 2007 XML", "--outdir", dir + "/src", name.arg("src", "txt")});
        QDir(m_sScratch).removeRecursively(), QDir().mkpath(m_sScratch);
        const QString docx = name.arg("src", "docx"), pdf = name.arg("out", "pdf"), back = name.arg("out", "docx");

        QCOMPARE(Run(14, {Shipped(14, docx, dir + "/out")}), (QList<QVariantMap>{{{"resMsg", ""}, {"sOutFile", pdf}}}));
        QCOMPARE(TestHost::LogsWith("CProcessWork::StartTask Info exec " + docx + " " + pdf).size(), 1);
        QCOMPARE(Output("pdftotext", {pdf, "-"}).simplified(), QString("Hello zrworklib Second line"));

        QCOMPARE(Run(13, {Shipped(13, pdf, dir + "/out")}), (QList<QVariantMap>{{{"resMsg", ""}, {"sOutFile", back}}}));
        QCOMPARE(TestHost::LogsWith("CProcessWork::StartTask Info exec convert " + pdf + " " + back).size(), 1);
        const QString xml = Output("/usr/bin/python3", {"-c", "import sys, zipfile; "
            "sys.stdout.write(zipfile.ZipFile(sys.argv[1]).read('word/document.xml').decode())", back});
        QVERIFY2(xml.contains("Hello zrworklib") && xml.contains("Second line"), qPrintable(xml.left(400)));
        QCOMPARE(QDir(dir + "/out").entryList(QDir::Files | QDir::Hidden).size(), 2);
    }

    // Three conversions at once through a slow stand-in never overlap; a failing or
    // missing converter gives the token back too (checked after every test).
    void gate_data()
    {
        QTest::addColumn<QByteArray>("ending"); // the stand-in's last line; empty: no converter at all
        QTest::addColumn<QStringList>("made");
        const QString failed = "docx2pdf_failed_checkoffice";
        QTest::newRow("converts") << QByteArray("echo pdf > \"$2\"") << QStringList{"a.pdf", "b.pdf", "c.pdf"};
        QTest::newRow("fails") << QByteArray("exit 3") << QStringList{failed, failed, failed};
        QTest::newRow("no converter") << QByteArray() << QStringList{failed, failed, failed};
    }

    void gate()
    {
        QFETCH(QByteArray, ending);
        QFETCH(QStringList, made);
        const QString dir = m_tmp.filePath(QString("gate/") + QTest::currentDataTag()), log = dir + "/runs.log";
        const QString program = dir + "/slow converter";
        QVERIFY(QDir().mkpath(dir));
        if (!ending.isEmpty())
            QVERIFY(WriteFile(program, "#!/bin/sh\nt0=$(date +%s%N)\nsleep 0.3\necho \"$t0 $(date +%s%N)\" >> '" + log.toUtf8() + "'\n" + ending + "\n")
                    && QFile::setPermissions(program, QFile::ReadOwner | QFile::ExeOwner));
        QList<QVariantMap> params;
        for (const QString input : {"a", "b", "c"})
            params.append({{"sFile", dir + "/" + input + ".docx"}, {"sSaveDir", dir + "/out"}, {"sWorkPath", dir}, {"sWorkExc", program}});
        QStringList results;
        for (const QVariantMap& r : Run(14, params))
            results << (r["resMsg"].toString().isEmpty() ? QFileInfo(r["sOutFile"].toString()).fileName() : r["resMsg"].toString());
        results.sort();
        QCOMPARE(results, made);
        // The output name is chosen before the gate is taken: only a later run finds it taken.
        if (made.first() == "a.pdf")
            QCOMPARE(Run(14, {params.first()}).first()["sOutFile"].toString(), dir + "/out/a_1.pdf");

        QFile runs(log);
        std::map<qint64, qint64> spans; // start -> end, in start order
        if (runs.open(QIODevice::ReadOnly))
            for (const QByteArray& line : runs.readAll().split('\n'))
                if (line.contains(' '))
                    spans[line.split(' ')[0].toLongLong()] = line.split(' ')[1].toLongLong();
        QCOMPARE(int(spans.size()), ending.isEmpty() ? 0 : made.first() == "a.pdf" ? 4 : 3);
        qint64 lastEnd = 0;
        for (const auto& span : spans) {
            QVERIFY2(span.first >= lastEnd, "converter runs overlap");
            lastEnd = span.second;
        }
    }

    // One finished map naming the failure, nothing left in the save folder.
    void badInput_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("input"); // "<none>" missing, else the content
        QTest::addColumn<QString>("saveDir"); // below the case's folder
        QTest::addColumn<QString>("resMsg");
        for (int type : {14, 13}) {
            const QString word = type == 14 ? "docx2pdf_failed_checkoffice" : "task_failed";
            const QByteArray t = QByteArray::number(type);
            QTest::newRow(t + " missing") << type << "<none>" << "out" << word;
            QTest::newRow(t + " empty") << type << "" << "out" << word;
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
        QVERIFY(input == "<none>" || WriteFile(file, input.toUtf8()));
        QCOMPARE(Run(type, {Shipped(type, file, saveDir.isEmpty() ? saveDir : dir + "/" + saveDir)}),
                 (QList<QVariantMap>{{{"resMsg", resMsg}}}));
        QVERIFY2(QDir(dir + "/out").entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty(), "nothing half-written");
    }
};

QTEST_GUILESS_MAIN(TstDocConvert)
#include "tst_docconvert.moc"
