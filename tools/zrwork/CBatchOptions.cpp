#include "CBatchOptions.h"

#include <QFileInfo>

namespace {

// Takes every "name value" pair out of args into values; false when one lacks its value.
bool TakeAll(QStringList& args, const QString& name, QStringList& values)
{
    for (int i = args.indexOf(name); i >= 0; i = args.indexOf(name, i)) {
        if (i + 1 >= args.size())
            return false;
        values.append(args.at(i + 1));
        args.removeAt(i + 1);
        args.removeAt(i);
    }
    return true;
}

} // namespace

bool CBatchOptions::Take(QStringList& args, QString* error)
{
    QStringList jobsText, journals, summaries, lists;
    for (const auto& option : {qMakePair(QStringLiteral("--jobs"), &jobsText), qMakePair(QStringLiteral("--journal"), &journals),
                               qMakePair(QStringLiteral("--summary"), &summaries), qMakePair(QStringLiteral("--from-list"), &lists),
                               qMakePair(QStringLiteral("--glob"), &globs)}) {
        if (!TakeAll(args, option.first, *option.second)) {
            *error = QStringLiteral("%1 is missing its value").arg(option.first);
            return false;
        }
        m_bAnyOption = m_bAnyOption || !option.second->isEmpty();
    }
    recursive = args.removeAll(QStringLiteral("--recursive")) > 0;
    events = args.removeAll(QStringLiteral("--events")) > 0;
    m_bAnyOption = m_bAnyOption || recursive || events;
    if (!jobsText.isEmpty()) {
        bool ok = false;
        jobs = jobsText.last().toInt(&ok);
        if (!ok || jobs < 1) {
            *error = QStringLiteral("--jobs wants a whole number of 1 or more");
            return false;
        }
    }
    journal = journals.value(journals.size() - 1);
    summary = summaries.value(summaries.size() - 1);
    fromList = lists.value(lists.size() - 1);
    for (const QString& arg : args) {
        // "--" opens every option; a file whose name starts with one dash is still a file.
        if (arg.startsWith(QLatin1String("--"))) {
            *error = QStringLiteral("unknown option %1").arg(arg);
            return false;
        }
    }
    items = args;
    args.clear();
    return true;
}

bool CBatchOptions::IsSingle() const
{
    return items.size() == 1 && !m_bAnyOption && !QFileInfo(items.first()).isDir();
}

int CBatchOptions::Jobs(int type, int cores) const
{
    if (jobs > 0)
        return jobs;
    return type == 13 || type == 14 ? 1 : qMax(1, cores);
}
