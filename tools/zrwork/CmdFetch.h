#pragma once
// zrwork fetch: downloads one address with the download service, showing a progress bar.

#include <QStringList>

namespace zrcli {

// zrwork fetch URL --save-dir DIR [--stall-sec N]: the file goes to DIR under the
// address's own name; prints {"resMsg", "sFile", "sSourceUrl", "nBytes", "nHttpCode"}.
int CmdFetch(QStringList args);

} // namespace zrcli
