#pragma once
// The motion tests' clip (ten seconds of a still 160x120 picture at 10 fps with a white
// square that moves only from 3 s to 5 s and from 8 s to 9 s).

#include <QProcess>

inline bool MakeMoveClip(const QString& path, bool withAudio = false, const QString& size = "160x120",
                         const QString& codec = "libx264")
{
    QStringList args{"-v", "error", "-y", "-f", "lavfi", "-i", "color=c=0x406080:s=" + size + ":r=10:d=10",
                     "-f", "lavfi", "-i", "color=c=white:s=40x40:r=10:d=10"};
    if (withAudio)
        args << "-f" << "lavfi" << "-i" << "sine=d=10";
    args << "-filter_complex"
         << "[0][1]overlay=x='if(lt(t,3),0,if(lt(t,5),(t-3)*60,if(lt(t,8),120,if(lt(t,9),120-(t-8)*120,0))))':y=40:eval=frame"
         << "-c:v" << codec << "-pix_fmt" << "yuv420p" << path;
    return QProcess::execute("ffmpeg", args) == 0;
}
