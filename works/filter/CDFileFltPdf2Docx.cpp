#include "works/filter/CDFileFltPdf2Docx.h"

#include <QFile>

#include <algorithm>

CDFileFltPdf2Docx::CDFileFltPdf2Docx()
    : CDFileFltWork(13, ".docx", "task_failed")
{
}

QStringList CDFileFltPdf2Docx::Arguments(const QString& in, const QString& out) const
{
    return {QStringLiteral("convert"), in, out};
}

QString CDFileFltPdf2Docx::FailureHint(const QString& in) const
{
    return IsProtected(in) ? QStringLiteral("the PDF is protected by a password or encryption: save an unprotected "
                                            "copy and convert that")
                           : QString();
}

bool CDFileFltPdf2Docx::IsProtected(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const qint64 window = 65536;
    const QByteArray head = file.read(window);
    file.seek(std::max<qint64>(0, file.size() - window));
    const QByteArray tail = file.read(window);
    return head.contains("/Encrypt") || tail.contains("/Encrypt");
}
