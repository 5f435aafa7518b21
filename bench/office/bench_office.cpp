// .docx to .pdf through the work (type 14, shipped adapter) against soffice run alone
// with the same fresh-profile command line on the same file, and three works started
// at once against one. Runs alternate, so a noisy machine moves every side alike;
// each figure is a median.
//
// Usage: bench_office [RUNS, default 5]

#include "core/CWorkLib.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

bool Soffice(const QStringList& args)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.setStandardOutputFile(QProcess::nullDevice());
    p.start(QStringLiteral("soffice"), args);
    return p.waitForFinished(600000) && p.exitCode() == 0;
}

// Seconds for n type-14 works started together; false in *ok when one made no PDF.
double RunWorks(CWorkLib* lib, const QString& docx, const QString& saveDir, const QString& tools, int n, bool* ok)
{
    QDir(saveDir).removeRecursively();
    QElapsedTimer timer;
    timer.start();
    std::vector<CDetWork*> works;
    for (int i = 0; i < n; ++i) {
        works.push_back(lib->CreateWork(14));
        works.back()->SetParams({{QStringLiteral("sFile"), docx},
                                 {QStringLiteral("sSaveDir"), saveDir + QStringLiteral("/") + QString::number(i)},
                                 {QStringLiteral("sWorkPath"), tools},
                                 {QStringLiteral("sWorkExc"), tools + QStringLiteral("/docx2pdf")}});
    }
    for (CDetWork* work : works)
        work->StartWork();
    for (CDetWork* work : works) {
        work->JoinWork(600000);
        lib->ReleaseWork(work);
    }
    const double seconds = timer.nsecsElapsed() / 1e9;
    for (int i = 0; i < n; ++i)
        *ok = *ok && QFileInfo(saveDir + QStringLiteral("/%1/doc.pdf").arg(i)).size() > 0;
    return seconds;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int runs = argc > 1 ? std::max(1, atoi(argv[1])) : 5;
    const QString tools = QCoreApplication::applicationDirPath() + QStringLiteral("/../worktools/office");
    QTemporaryDir tmp;
    CWorkLib* lib = CreateWorkLib([](WorkLibRs, const QVariant&) {}, QVariantMap{{QStringLiteral("appData"), tmp.path()}});

    // A few pages of text, written as .docx by LibreOffice itself.
    QFile txt(tmp.filePath(QStringLiteral("doc.txt")));
    if (!txt.open(QIODevice::WriteOnly))
        return 1;
    for (int i = 0; i < 150; ++i)
        txt.write(QByteArray("Line ") + QByteArray::number(i) + " of the benchmark document, long enough to wrap once or twice on an A4 page.\n");
    txt.close();
    const QString docx = tmp.filePath(QStringLiteral("doc.docx"));
    Soffice({QStringLiteral("-env:UserInstallation=file://") + tmp.filePath(QStringLiteral("p0")), QStringLiteral("--headless"),
             QStringLiteral("--convert-to"), QStringLiteral("docx:MS Word 2007 XML"), QStringLiteral("--outdir"), tmp.path(),
             txt.fileName()});
    if (!QFileInfo::exists(docx)) {
        std::fprintf(stderr, "bench_office: LibreOffice could not write the sample .docx\n");
        return 1;
    }

    bool ok = true;
    std::vector<double> one, alone, three;
    for (int r = 0; r < runs; ++r) {
        one.push_back(RunWorks(lib, docx, tmp.filePath(QStringLiteral("work")), tools, 1, &ok));

        const QString profile = tmp.filePath(QStringLiteral("profile%1").arg(r));
        QElapsedTimer timer;
        timer.start();
        ok = Soffice({QStringLiteral("-env:UserInstallation=file://") + profile, QStringLiteral("--headless"),
                      QStringLiteral("--norestore"), QStringLiteral("--infilter=MS Word 2007 XML"), QStringLiteral("--convert-to"),
                      QStringLiteral("pdf:writer_pdf_Export"), QStringLiteral("--outdir"), tmp.filePath(QStringLiteral("alone")), docx})
            && ok;
        alone.push_back(timer.nsecsElapsed() / 1e9);
        QDir(profile).removeRecursively();

        three.push_back(RunWorks(lib, docx, tmp.filePath(QStringLiteral("three")), tools, 3, &ok));
    }
    ReleaseWorkLib(lib);
    if (!ok) {
        std::fprintf(stderr, "bench_office: a conversion made no PDF\n");
        return 1;
    }
    for (int r = 0; r < runs; ++r)
        std::printf("run %d: one %.3f s, soffice %.3f s, three %.3f s\n", r + 1, one[r], alone[r], three[r]);
    const double m1 = Median(one), ms = Median(alone), m3 = Median(three);
    std::printf("document: %lld bytes .docx, %d runs each\n", static_cast<long long>(QFileInfo(docx).size()), runs);
    std::printf("work (type 14, docx2pdf adapter): median %.3f s\n", m1);
    std::printf("soffice alone, fresh profile:     median %.3f s\n", ms);
    std::printf("ratio work/soffice:               %.3f\n", m1 / ms);
    std::printf("three works at once:              median %.3f s\n", m3);
    std::printf("ratio three/one:                  %.3f\n", m3 / m1);
    return 0;
}
