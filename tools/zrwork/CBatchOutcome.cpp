#include "CBatchOutcome.h"

#include "CBatchJournal.h"

QString CBatchOutcome::Output(const QVariantMap& finished)
{
    const QVariantMap result = finished.value(QStringLiteral("res_data")).toMap();
    const QVariantMap params = finished.value(QStringLiteral("user_data")).toMap();
    for (const char* key : {"sOutFile", "sOutDir", "sModel"}) {
        const QString value = result.value(QLatin1String(key)).toString();
        if (!value.isEmpty())
            return value;
    }
    return params.value(QStringLiteral("sOutFile")).toString();
}

QString CBatchOutcome::Word(int type, const QVariantMap& finished)
{
    if (!finished.contains(QStringLiteral("res_data")))
        return QStringLiteral("no_result");
    const QString resMsg = finished.value(QStringLiteral("res_data")).toMap().value(QStringLiteral("resMsg")).toString();
    if (!resMsg.isEmpty())
        return resMsg;
    const QString output = Output(finished);
    if ((output.isEmpty() && (type == 10 || type == 12)) || !CBatchJournal::OutputReady(output))
        return QStringLiteral("no_output");
    return QStringLiteral("ok");
}

bool CBatchOutcome::IsSuccess(const QString& word)
{
    return word == QLatin1String("ok") || word == QLatin1String("skipped");
}
