#pragma once
// A recording host for the tests: installs a callback on the hub and keeps every
// message it receives, from whichever thread sends it.

#include "core/CData.h"
#include "core/CObjLibImp.h"

#include <QMutex>
#include <QMutexLocker>
#include <QPair>
#include <QStringList>
#include <QVariant>
#include <QVector>

class TestHost
{
public:
    // Installs the recording callback (again, if a test released the hub) and clears the record.
    static void Install(const QVariantMap& appInfo = QVariantMap())
    {
        WorkBaseData::CData::GetInstance()->Init(&TestHost::Callback, appInfo);
        Clear();
    }

    static void Clear()
    {
        QMutexLocker locker(&lock());
        messages().clear();
    }

    // All messages of one kind, in arrival order.
    static QVector<QVariant> Of(int kind)
    {
        QMutexLocker locker(&lock());
        QVector<QVariant> out;
        for (const auto& m : messages()) {
            if (m.first == kind)
                out.append(m.second);
        }
        return out;
    }

    // The text of every log line (kind 1).
    static QStringList Logs()
    {
        QStringList out;
        for (const QVariant& v : Of(1))
            out.append(v.toMap().value(QStringLiteral("log")).toString());
        return out;
    }

    // Log lines from the function name on: time stamp and thread number vary.
    static QStringList Lines()
    {
        QStringList out;
        for (const QString& line : Logs())
            out.append(line.mid(line.indexOf(QLatin1String("] ")) + 2));
        return out;
    }

    // Log lines containing needle.
    static QStringList LogsWith(const QString& needle) { return Logs().filter(needle); }

    static int Count(int kind) { return Of(kind).size(); }

    // One whole run of a work of the given type through the library object: its
    // finished map, or {"runs": n} when not exactly one came.
    static QVariantMap RunFinished(int type, const QVariantMap& params, unsigned long msecs = 300000)
    {
        Clear();
        CObjLibImp* lib = WorkBaseData::CData::GetInstance()->GetWorkLib();
        CDetWork* work = lib->CreateWork(type);
        work->SetParams(params);
        work->StartWork();
        work->JoinWork(msecs);
        lib->ReleaseWork(work);
        const auto finished = Of(WorkLibRs_Finished);
        if (finished.size() != 1)
            return {{QStringLiteral("runs"), finished.size()}};
        return finished.first().toMap();
    }

    // The same run's result map (or {"runs": n}).
    static QVariantMap RunWork(int type, const QVariantMap& params, unsigned long msecs = 300000)
    {
        const QVariantMap finished = RunFinished(type, params, msecs);
        return finished.contains(QStringLiteral("runs")) ? finished : finished.value(QStringLiteral("res_data")).toMap();
    }

    // Time spans {"startTs", "endTs"} in seconds, the shape of voice segments and motion events.
    static QVariantList Spans(std::initializer_list<std::pair<double, double>> list)
    {
        QVariantList out;
        for (const auto& p : list)
            out.append(QVariantMap{{QStringLiteral("startTs"), p.first}, {QStringLiteral("endTs"), p.second}});
        return out;
    }

    // The "nPos" of every progress message since the last Clear, in order.
    static QList<int> Positions()
    {
        QList<int> out;
        for (const QVariant& p : Of(WorkLibRs_Progress))
            out.append(p.toMap().value(QStringLiteral("nPos")).toInt());
        return out;
    }

private:
    static void Callback(WorkLibRs kind, const QVariant& value)
    {
        QMutexLocker locker(&lock());
        messages().append(qMakePair(static_cast<int>(kind), value));
    }
    static QMutex& lock()
    {
        static QMutex m;
        return m;
    }
    static QVector<QPair<int, QVariant>>& messages()
    {
        static QVector<QPair<int, QVariant>> m;
        return m;
    }
};
