// Creates the library from its installed package, runs one voice work on a missing
// file and expects the library's answer.

#include <CWorkLib.h>

#include <QCoreApplication>
#include <atomic>
#include <cstdio>

namespace {
std::atomic<int> g_finished{0};
QString g_resMsg;

void OnMessage(WorkLibRs kind, const QVariant& value)
{
    if (kind == WorkLibRs_Finished) {
        g_resMsg = value.toMap().value(QStringLiteral("res_data")).toMap().value(QStringLiteral("resMsg")).toString();
        ++g_finished;
    }
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    CWorkLib* lib = CreateWorkLib(&OnMessage, QVariantMap{{QStringLiteral("appData"), QCoreApplication::applicationDirPath()}});
    CDetWork* work = lib ? lib->CreateWork(5) : nullptr;
    if (!work)
        return 1;
    work->SetParams(QVariantMap{{QStringLiteral("sFile"), QStringLiteral("/nonexistent/input.mp4")},
                                {QStringLiteral("sSaveDir"), QCoreApplication::applicationDirPath()}});
    work->StartWork();
    work->JoinWork(60000);
    work->StopWork();
    lib->ReleaseWork(work);
    ReleaseWorkLib(lib);
    std::printf("finished %d resMsg %s\n", g_finished.load(), qPrintable(g_resMsg));
    return g_finished == 1 && g_resMsg == QLatin1String("read_input_failed") ? 0 : 1;
}
