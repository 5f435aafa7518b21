#pragma once
// zrwork play: the preview player in a window, or chosen frames written as pictures.

namespace zrcli {

// Called before any application object exists: it makes the one it needs (a GUI
// application only for the window).
int CmdPlay(int argc, char** argv);

} // namespace zrcli
