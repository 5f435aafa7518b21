#include "CmdFilter.h"

#include "CCliHost.h"
#include "CliCommon.h"

#include <QDir>
#include <QFileInfo>

#include <cstdio>

namespace zrcli {

namespace {

// Pictures go through picture mode; everything else is taken for a video.
bool IsPicture(const QString& file)
{
    static const QStringList suffixes{QStringLiteral("png"), QStringLiteral("jpg"), QStringLiteral("jpeg"),
                                      QStringLiteral("bmp"), QStringLiteral("webp"), QStringLiteral("tif"),
                                      QStringLiteral("tiff")};
    return suffixes.contains(QFileInfo(file).suffix().toLower());
}

QString StylesDir()
{
    const QString tools = WorkToolsDir();
    return tools.isEmpty() ? QString() : tools + QStringLiteral("/styles");
}

// Shared by the filter commands: FILE --save-dir DIR, the given numeric options, --param.
// Fills params and returns -1, or returns the usage exit status. *pictureMode decides
// picture mode again for each input of a batch.
int TakeCommon(QStringList& args, const char* command, QVariantMap& params, bool& verbose,
               const QList<QPair<QString, QString>>& numbers = {}, QString* model = nullptr, InputHook* pictureMode = nullptr)
{
    if (model && !TakeOption(args, QStringLiteral("--model"), model))
        return Usage(QStringLiteral("an option is missing its value"));
    for (const auto& number : numbers) {
        QString text;
        if (!TakeOption(args, number.first, &text))
            return Usage(QStringLiteral("an option is missing its value"));
        if (text.isEmpty())
            continue;
        bool ok = false;
        params.insert(number.second, text.toInt(&ok));
        if (!ok)
            return Usage(QStringLiteral("%1 wants an integer").arg(number.first));
    }
    const QString mustHave = model ? QStringLiteral(" --model NAME|PATH") : QString();
    const int usage = TakeFileCommand(args, command, params, verbose, mustHave);
    if (usage >= 0)
        return usage;
    if (model && model->isEmpty())
        return Usage(QStringLiteral("%1 needs a FILE and --save-dir DIR%2").arg(QLatin1String(command), mustHave));
    // --param bPicFlt=... still decides.
    if (params.contains(QStringLiteral("bPicFlt")))
        return -1;
    params.insert(QStringLiteral("bPicFlt"), IsPicture(params.value(QStringLiteral("sFile")).toString()));
    if (pictureMode) {
        *pictureMode = [](QVariantMap& one) {
            one.insert(QStringLiteral("bPicFlt"), IsPicture(one.value(QStringLiteral("sFile")).toString()));
        };
    }
    return -1;
}

} // namespace

int CmdBeautify(QStringList args)
{
    QVariantMap params{{QStringLiteral("nDegree"), 3}, {QStringLiteral("nDetails"), 2}, {QStringLiteral("nOpacity"), 5},
                       {QStringLiteral("nWhite"), 2}};
    bool verbose = false;
    InputHook pictureMode;
    const int status = TakeCommon(args, "beautify", params, verbose,
                                  {{QStringLiteral("--degree"), QStringLiteral("nDegree")},
                                   {QStringLiteral("--details"), QStringLiteral("nDetails")},
                                   {QStringLiteral("--opacity"), QStringLiteral("nOpacity")},
                                   {QStringLiteral("--white"), QStringLiteral("nWhite")}},
                                  nullptr, &pictureMode);
    if (status >= 0)
        return status;
    CCliHost host(verbose, AppData());
    return RunAndPrint(host, 6, params, nullptr, pictureMode);
}

int CmdStyle(QStringList args)
{
    QVariantMap params;
    QString model;
    bool verbose = false;
    InputHook pictureMode;
    const int status = TakeCommon(args, "style", params, verbose, {}, &model, &pictureMode);
    if (status >= 0)
        return status;
    // A bare name is one of the shipped networks.
    const QString shipped = StylesDir() + QLatin1Char('/') + model + QStringLiteral(".onnx");
    if (!model.contains(QLatin1Char('/')) && !QFileInfo::exists(model) && QFileInfo::exists(shipped))
        model = shipped;
    QVariantMap style = params.value(QStringLiteral("mapStyle")).toMap();
    style.insert(QStringLiteral("sModel"), QFileInfo(model).absoluteFilePath());
    params.insert(QStringLiteral("mapStyle"), style);
    CCliHost host(verbose, AppData());
    return RunAndPrint(host, 7, params, nullptr, pictureMode);
}

int CmdUpscale(QStringList args)
{
    QVariantMap params;
    bool verbose = false;
    InputHook pictureMode;
    const int status = TakeCommon(args, "upscale", params, verbose, {}, nullptr, &pictureMode);
    if (status >= 0)
        return status;
    const QString tools = WorkToolsDir();
    if (!params.contains(QStringLiteral("sWorkPath")))
        params.insert(QStringLiteral("sWorkPath"), tools.isEmpty() ? QString() : tools + QStringLiteral("/upscale"));
    if (!params.contains(QStringLiteral("sWorkExc")))
        params.insert(QStringLiteral("sWorkExc"), QStringLiteral("waifu2x"));
    CCliHost host(verbose, AppData());
    return RunAndPrint(host, 8, params, nullptr, pictureMode);
}

int CmdStyles()
{
    const QString dir = StylesDir();
    const QFileInfoList nets = QDir(dir).entryInfoList({QStringLiteral("*.onnx")}, QDir::Files, QDir::Name);
    if (nets.isEmpty()) {
        std::fprintf(stderr, "zrwork: no style networks are shipped in %s\n", dir.toUtf8().constData());
        return 1;
    }
    for (const QFileInfo& net : nets)
        std::printf("%-10s %s\n", net.completeBaseName().toUtf8().constData(), net.absoluteFilePath().toUtf8().constData());
    return 0;
}

int CmdReencode(QStringList args)
{
    QVariantMap params;
    bool verbose = false;
    const int status = TakeCommon(args, "reencode", params, verbose);
    if (status >= 0)
        return status;
    params.remove(QStringLiteral("bPicFlt"));
    CCliHost host(verbose, AppData());
    QVariantMap finished;
    const int result = RunAndPrint(host, 10, params, &finished);
    // This work reports a failed step only by leaving "sOutFile" out of its parameters
    // (a batch judges each input so itself and leaves finished empty).
    if (result == 0 && !finished.isEmpty() && !finished.value(QStringLiteral("user_data")).toMap().contains(QStringLiteral("sOutFile")))
        return 1;
    return result;
}

} // namespace zrcli
