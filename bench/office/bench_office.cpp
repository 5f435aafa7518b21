// .docx to .pdf through the work (type 14, shipped adapter) against soffice run alone
// on the same file with the same filters, once with a fresh profile each run (as the
// adapter needs, runs sharing one being unreliable) and once with one warm profile
// reused (the fastest soffice gets); and three works started at once against one. Runs alternate, so a noisy machine moves every side alike.
// Figures are medians, and means too: on a busy machine a run now and then takes much
// longer, and three runs in a row catch such a delay more often than one does, so only
// the means compare three with one without that bias.
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
#include <numeric>
#include <vector>

namespace {

double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double Mean(const std::vector<double>& v)
{
    return std::accumulate(v.begin(), v.end(), 0.0) / v.size();
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

    const QString warm = tmp.filePath(QStringLiteral("p0")); // warmed by writing the sample
    bool ok = true;
    auto sofficeAlone = [&](const QString& profile) {
        QElapsedTimer timer;
        timer.start();
        ok = Soffice({QStringLiteral("-env:UserInstallation=file://") + profile, QStringLiteral("--headless"),
                      QStringLiteral("--norestore"), QStringLiteral("--infilter=MS Word 2007 XML"), QStringLiteral("--convert-to"),
                      QStringLiteral("pdf:writer_pdf_Export"), QStringLiteral("--outdir"), tmp.filePath(QStringLiteral("alone")), docx})
            && ok;
        return timer.nsecsElapsed() / 1e9;
    };
    std::vector<double> one, alone, alonewarm, three;
    for (int r = 0; r < runs; ++r) {
        one.push_back(RunWorks(lib, docx, tmp.filePath(QStringLiteral("work")), tools, 1, &ok));
        const QString fresh = tmp.filePath(QStringLiteral("profile%1").arg(r));
        alone.push_back(sofficeAlone(fresh));
        QDir(fresh).removeRecursively();
        alonewarm.push_back(sofficeAlone(warm));
        three.push_back(RunWorks(lib, docx, tmp.filePath(QStringLiteral("three")), tools, 3, &ok));
    }
    ReleaseWorkLib(lib);
    if (!ok) {
        std::fprintf(stderr, "bench_office: a conversion made no PDF\n");
        return 1;
    }
    for (int r = 0; r < runs; ++r)
        std::printf("run %d: one %.3f s, soffice fresh %.3f s, warm %.3f s, three %.3f s\n", r + 1, one[r], alone[r],
                    alonewarm[r], three[r]);
    std::printf("document: %lld bytes .docx, %d runs each\n", static_cast<long long>(QFileInfo(docx).size()), runs);
    std::printf("                                  median     mean\n");
    std::printf("work (type 14, docx2pdf adapter): %6.3f s  %6.3f s\n", Median(one), Mean(one));
    std::printf("soffice alone, fresh profile:     %6.3f s  %6.3f s\n", Median(alone), Mean(alone));
    std::printf("soffice alone, warm profile:      %6.3f s  %6.3f s\n", Median(alonewarm), Mean(alonewarm));
    std::printf("three works at once:              %6.3f s  %6.3f s\n", Median(three), Mean(three));
    std::printf("ratio work/soffice fresh:         %6.3f    %6.3f\n", Median(one) / Median(alone), Mean(one) / Mean(alone));
    std::printf("ratio work/soffice warm:          %6.3f    %6.3f\n", Median(one) / Median(alonewarm), Mean(one) / Mean(alonewarm));
    std::printf("ratio three/one:                  %6.3f    %6.3f\n", Median(three) / Median(one), Mean(three) / Mean(one));
    return 0;
}
