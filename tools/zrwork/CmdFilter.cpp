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

// An integer option, its parameter key and the range the work takes.
struct NumberOption
{
    QString option;
    QString key;
    int low;
    int high;
};

// Shared by the filter commands: FILE --save-dir DIR, the given numeric options, --param.
// Fills params and returns -1, or returns the usage exit status. Values out of range are
// refused here, before any work starts. *pictureMode decides picture mode again for each
// input of a batch.
int TakeCommon(QStringList& args, const char* command, QVariantMap& params, bool& verbose,
               const QList<NumberOption>& numbers = {}, QString* model = nullptr, InputHook* pictureMode = nullptr)
{
    if (model && !TakeOption(args, QStringLiteral("--model"), model))
        return Usage(QStringLiteral("--model is missing its value"));
    for (const NumberOption& number : numbers) {
        QString text;
        if (!TakeOption(args, number.option, &text))
            return Usage(QStringLiteral("%1 is missing its value").arg(number.option));
        if (text.isEmpty())
            continue;
        bool ok = false;
        const int value = text.toInt(&ok);
        if (!ok || value < number.low || value > number.high)
            return Usage(QStringLiteral("%1 wants an integer from %2 to %3, not %4")
                             .arg(number.option)
                             .arg(number.low)
                             .arg(number.high)
                             .arg(text));
        params.insert(number.key, value);
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
                                  {{QStringLiteral("--degree"), QStringLiteral("nDegree"), 0, 6},
                                   {QStringLiteral("--details"), QStringLiteral("nDetails"), 1, 5},
                                   {QStringLiteral("--opacity"), QStringLiteral("nOpacity"), 1, 99},
                                   {QStringLiteral("--white"), QStringLiteral("nWhite"), 0, 5}},
                                  nullptr, &pictureMode);
    if (status >= 0)
        return status;
    CCliHost host(verbose, AppData());
    return RunForFile(host, 6, params, nullptr, pictureMode);
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
    // A bare name is one of the shipped networks; anything else must be a network file.
    if (!QFileInfo(StyleModel(model)).isFile())
        return Usage(model.contains(QLatin1Char('/'))
                         ? QStringLiteral("--model %1: no such network file").arg(model)
                         : QStringLiteral("--model %1: no such style (zrwork styles lists them)").arg(model));
    QVariantMap style = params.value(QStringLiteral("mapStyle")).toMap();
    style.insert(QStringLiteral("sModel"), StyleModel(model));
    params.insert(QStringLiteral("mapStyle"), style);
    CCliHost host(verbose, AppData());
    return RunForFile(host, 7, params, nullptr, pictureMode);
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
    return RunForFile(host, 8, params, nullptr, pictureMode);
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
    // This work reports a failed step only by leaving "sOutFile" out of its parameters.
    return RunForFile(host, 10, params);
}

} // namespace zrcli
