#pragma once
// What every zrwork command shares: option taking, JSON output, the usage text, the
// shipped tool folder and running one work to its printed finished map.

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <functional>

class CCliHost;

namespace zrcli {

// Prints the error and how to see the help on stderr (the whole usage text when there
// is no error); returns exit status 2.
int Usage(const QString& error = QString());
// The usage text on stdout.
void PrintUsage();
void PrintJson(const QVariant& value);
// The host's data folder, made if missing.
QString AppData();
// The program beside the application, else on the PATH; empty when there is none.
QString FindTool(const QString& name);
// ffprobe, as FindTool finds it.
QString FindProbe();
// Whole seconds of the media, or -1 when it cannot be read (or is no regular file:
// a FIFO or device would keep ffprobe waiting).
qint64 MediaSeconds(const QString& file);
// A FILE argument as the library gets it: an http(s) address as it is, a path made absolute.
QString InputArg(const QString& arg);
// Takes "--name value" out of args; false when the option is present without a value.
bool TakeOption(QStringList& args, const QString& name, QString* value);
bool TakeFlag(QStringList& args, const QString& name);
// Takes every "--param key=value" and "--params file.json" out of args into params
// (later ones win); false with *error set on a malformed one.
bool TakeParams(QStringList& args, QVariantMap& params, QString* error);
// The common shape of the commands that run one work on a FILE: takes FILE, --save-dir
// DIR, --verbose and --param/--params out of args into params ("sFile" and "sSaveDir"
// absolute; --param entries win over what params held). Returns -1, or the usage exit
// status; what is added to the usage message names the command's other must-haves.
// Several FILEs, a folder, --from-list or any batch option (--jobs, --journal, --events,
// --summary, --recursive, --glob) make it a batch: RunAndPrint then runs every input.
int TakeFileCommand(QStringList& args, const char* command, QVariantMap& params, bool& verbose,
                    const QString& mustHave = QString());
// The same shape for a command whose results go elsewhere than a save folder (the model
// store, say): FILE or a batch's inputs into "sFile"; a batch's journal defaults to
// journalDir. Returns -1, or the usage exit status with usageError.
int TakeInputCommand(QStringList& args, const char* command, QVariantMap& params, const QString& journalDir,
                     const QString& usageError);
// True between a TakeFileCommand that found a batch and the RunAndPrint that runs it.
bool BatchPending();
// The shipped tool folder: <bin>/../worktools in a build tree, else
// <bin>/../lib/zrworklib/worktools in an install tree; empty when neither exists.
QString WorkToolsDir();
// The shipped style networks' folder in it.
QString StylesDir();
// The absolute path of a style network: a bare NAME is one of the shipped ones.
QString StyleModel(const QString& nameOrPath);
// Fills one input's parameters before its work starts ("sFile" is set already).
using InputHook = std::function<void(QVariantMap& params)>;
// Runs the work and prints its finished map; returns the exit status (0, 1, or 2
// when no work of that type exists). *finished receives the map when given. After a
// TakeFileCommand that found a batch it runs the batch instead, params serving every
// input, and leaves *finished empty: what a command does with one result is for single runs.
// A failed single work also gets one line on stderr: its word, and the hint it gave ("sHint").
int RunAndPrint(CCliHost& host, int type, const QVariantMap& params, QVariantMap* finished = nullptr,
                const InputHook& prepare = {});
// RunAndPrint for the commands whose work writes a file: a finished map without
// "sOutFile" (in "res_data" or "user_data") is a failure too, said in one line.
int RunForFile(CCliHost& host, int type, const QVariantMap& params, QVariantMap* finished = nullptr,
               const InputHook& prepare = {});
// The "sOutFile" of a finished map, from "res_data" or else "user_data"; empty when none.
QString OutFile(const QVariantMap& finished);

} // namespace zrcli
