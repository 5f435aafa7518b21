#pragma once
// Fetches an http(s) "sFile" into the download cache before a work runs, so every work
// takes a web address as its input and runs on the local copy.

#include <QString>
#include <QVariantMap>
#include <atomic>

class CUrlInput
{
public:
    // When params' "sFile" is an http:// or https:// address: makes sure the cache holds
    // the file (downloading it, with progress maps to the host, unless an earlier run
    // did), then sets "sFile" to the copy and "sSourceUrl" to the address. Whenever the
    // input came from an address, result gets "sSourceUrl" and "sLocalFile"; a failed
    // download puts its word in "sDownMsg", logs it under func and gives false.
    // working turning false stops the download.
    static bool Prepare(QVariantMap& params, QVariantMap& result, const std::atomic<bool>& working, const QByteArray& func);

    // The host's data folder + "/DownCache"; the system's temporary folder stands in
    // when the host gave no data folder.
    static QString CacheDir();
    // Where the cache keeps the file of url: a folder named by a digest of the address
    // text, holding the file under the address's own name.
    static QString CachePath(const QString& url);
};
