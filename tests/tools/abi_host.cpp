// A host that declares the library's interfaces itself, as a host written from the
// published contract would, and reaches the library only through the two exported
// names. A slot out of order or a changed signature shows up here as a wrong answer.

#include <QCoreApplication>
#include <QVariant>
#include <QVariantMap>
#include <atomic>
#include <cstdio>
#include <functional>

enum WorkLibRs { Log = 1, Progress = 2, Finished = 3 };

class CDetWork
{
public:
    virtual bool SetValue(const QString& key, const QVariant& value) = 0;
    virtual const QVariant& GetValue(const QString& key, const QVariant& defaultValue) = 0;
    virtual int GetType() = 0;
    virtual bool QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply) = 0;
    virtual bool SetParams(const QVariantMap& params) = 0;
    virtual bool StartWork() = 0;
    virtual bool StopWork() = 0;
    virtual bool JoinWork(unsigned long msecs) = 0;
    virtual bool IsFinished() = 0;
    virtual bool IsWorking() = 0;
    virtual bool AddObserver(void* observer) = 0;
    virtual bool RemoveObserver(void* observer) = 0;
    virtual ~CDetWork() {}
};

class CWorkLib
{
public:
    virtual void EnumDevices(std::function<bool(const QString&)> visitor) = 0;
    virtual CDetWork* CreateWork(int type) = 0;
    virtual bool ReleaseWork(CDetWork* work) = 0;
    virtual bool MarkModeFile(QString src, QString dst) = 0;
    virtual bool UnmarkModeFile(QString src, QString dst) = 0;
    virtual bool InitModelStore(QString dir) = 0;
    virtual bool IsReady() = 0;
    virtual bool ListVideoFiles(const QString& model, qint64 offset, qint64 count, qint64* total,
                                std::function<bool(const QVariantMap&)> visitor) = 0;
    virtual ~CWorkLib() {}
};

CWorkLib* CreateWorkLib(void (*callback)(WorkLibRs, const QVariant&), const QVariant& appInfo);
void ReleaseWorkLib(CWorkLib* lib);

namespace {

std::atomic<int> g_finished{0};
QVariantMap g_result;

void OnMessage(WorkLibRs kind, const QVariant& value)
{
    if (kind == Finished) {
        g_result = value.toMap().value(QStringLiteral("res_data")).toMap();
        ++g_finished;
    }
}

int g_failures = 0;

void Check(bool ok, const char* what)
{
    std::printf("%s %s\n", ok ? "ok  " : "FAIL", what);
    if (!ok)
        ++g_failures;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    CWorkLib* lib = CreateWorkLib(&OnMessage, QVariantMap{{QStringLiteral("appData"), QCoreApplication::applicationDirPath()}});
    Check(lib != nullptr, "CreateWorkLib gives a library");
    if (!lib)
        return 1;
    Check(lib->IsReady(), "IsReady");
    Check(lib->CreateWork(11) == nullptr, "type 11 has no work");
    Check(lib->ReleaseWork(nullptr), "ReleaseWork(nullptr)");
    Check(!lib->UnmarkModeFile(QStringLiteral("/nonexistent/a"), QStringLiteral("/nonexistent/b")),
          "UnmarkModeFile of a missing file is false");

    CDetWork* work = lib->CreateWork(5);
    Check(work != nullptr && work->GetType() == 5, "type 5 is voice detection");
    if (!work)
        return 1;
    Check(work->SetValue(QStringLiteral("user_x"), 42), "SetValue user_x");
    Check(!work->SetValue(QStringLiteral("x"), 1), "SetValue x refused");
    Check(work->GetValue(QStringLiteral("user_x"), QVariant()).toInt() == 42, "GetValue user_x");
    Check(!work->QueryWork(QVariantMap(), [](const QVariantMap&) { return true; }), "QueryWork has no answer");
    int observer = 0;
    Check(work->AddObserver(&observer) && work->RemoveObserver(&observer) && !work->RemoveObserver(&observer),
          "observers");
    Check(!work->IsWorking() && !work->IsFinished(), "not started yet");
    work->SetParams(QVariantMap{{QStringLiteral("sFile"), QStringLiteral("/nonexistent/input.mp4")},
                                {QStringLiteral("sSaveDir"), QCoreApplication::applicationDirPath()}});
    work->StartWork();
    Check(work->IsWorking(), "working after StartWork");
    work->JoinWork(60000);
    Check(work->IsFinished() && g_finished == 1, "one finished message");
    Check(g_result.value(QStringLiteral("resMsg")).toString() == QLatin1String("read_input_failed"),
          "a missing input is reported");
    work->StopWork();
    Check(lib->ReleaseWork(work), "ReleaseWork");
    ReleaseWorkLib(nullptr);
    return g_failures == 0 ? 0 : 1;
}
