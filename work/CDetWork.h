#pragma once
/**
 * @file CDetWork.h
 * @brief The contract of every work the library creates.
 *
 * A host receives a work as a CDetWork* from CWorkLib::CreateWork, sets its
 * parameters, starts it, and later stops, joins and releases it. The work's
 * body runs on its own thread; its progress (kind 2) and its finished map
 * (kind 3) reach the host through the callback given to CreateWorkLib.
 *
 * The virtual slot order is part of the binary contract with hosts: do not
 * reorder, insert or remove operations.
 */

#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <functional>

class CDetWork
{
public:
    /** Stores @p value under @p key when the key starts with "user_" or is "test". */
    virtual bool SetValue(const QString& key, const QVariant& value) = 0;
    /** The value stored under @p key, or @p defaultValue. Copy the result at once. */
    virtual const QVariant& GetValue(const QString& key, const QVariant& defaultValue) = 0;
    /** The work's type number, as passed to CWorkLib::CreateWork. */
    virtual int GetType() = 0;
    /** A synchronous question answered through @p reply; false when the work has no answer. */
    virtual bool QueryWork(const QVariantMap& args, std::function<bool(const QVariantMap&)> reply) = 0;
    /** Replaces the work's parameter map. Do not call while the work runs. */
    virtual bool SetParams(const QVariantMap& params) = 0;
    /** Starts the work's thread; does nothing while the working flag is set. */
    virtual bool StartWork() = 0;
    /** Asks the work to stop; returns at once. */
    virtual bool StopWork() = 0;
    /** Waits at most @p msecs for the thread; a thread still running then is terminated. */
    virtual bool JoinWork(unsigned long msecs) = 0;
    /** True once the thread body has returned. */
    virtual bool IsFinished() = 0;
    /** The working flag: true from StartWork until StopWork. */
    virtual bool IsWorking() = 0;
    /** Registers an opaque observer pointer (kept once). */
    virtual bool AddObserver(void* observer) = 0;
    /** Forgets an observer; false when it was not registered. */
    virtual bool RemoveObserver(void* observer) = 0;
    virtual ~CDetWork() {}
};
