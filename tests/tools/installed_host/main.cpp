// A host written from the published contract alone: it declares the interfaces itself and
// reaches the library only through the two exported names, so a slot out of order or a
// changed signature shows up as a wrong answer. Built in the tree and from the installed package.

#include <QCoreApplication>
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

static std::atomic<int> g_finished{0};
static QString g_resMsg;
static int g_failures = 0;

static void OnMessage(WorkLibRs kind, const QVariant& value)
{
    if (kind == Finished) {
        g_resMsg = value.toMap().value(QStringLiteral("res_data")).toMap().value(QStringLiteral("resMsg")).toString();
        ++g_finished;
    }
}

static void Check(bool ok, const char* what)
{
    std::printf("%s %s\n", ok ? "ok  " : "FAIL", what);
    g_failures += ok ? 0 : 1;
}
#define CHECK(x) Check((x), #x)

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QString dir = QCoreApplication::applicationDirPath();
    CWorkLib* lib = CreateWorkLib(&OnMessage, QVariantMap{{QStringLiteral("appData"), dir}});
    CDetWork* work = lib ? lib->CreateWork(5) : nullptr;
    CHECK(work != nullptr);
    if (!work)
        return 1;
    CHECK(lib->IsReady() && lib->CreateWork(11) == nullptr && lib->ReleaseWork(nullptr));
    CHECK(!lib->UnmarkModeFile(QStringLiteral("/nonexistent/a"), QStringLiteral("/nonexistent/b")));
    CHECK(work->GetType() == 5);
    CHECK(work->SetValue(QStringLiteral("user_x"), 42) && !work->SetValue(QStringLiteral("x"), 1));
    CHECK(work->GetValue(QStringLiteral("user_x"), QVariant()).toInt() == 42);
    CHECK(!work->QueryWork(QVariantMap(), [](const QVariantMap&) { return true; }));
    int observer = 0;
    CHECK(work->AddObserver(&observer) && work->RemoveObserver(&observer) && !work->RemoveObserver(&observer));
    CHECK(!work->IsWorking() && !work->IsFinished());
    work->SetParams(QVariantMap{{QStringLiteral("sFile"), QStringLiteral("/nonexistent/input.mp4")},
                                {QStringLiteral("sSaveDir"), dir}});
    work->StartWork();
    CHECK(work->IsWorking());
    work->JoinWork(60000);
    CHECK(work->IsFinished() && g_finished == 1 && g_resMsg == QLatin1String("read_input_failed"));
    work->StopWork();
    CHECK(lib->ReleaseWork(work));
    ReleaseWorkLib(lib);
    return g_failures == 0 ? 0 : 1;
}
