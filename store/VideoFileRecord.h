#pragma once
// One row of the video file catalogue, fields in column order.

#include <QString>

struct VideoFileRecord
{
    QString key;        // content fingerprint of the file
    QString path;       // absolute file path
    QString name;       // base name
    qint64 ctime = 0;   // creation time, seconds since the epoch
    qint64 mtime = 0;   // last modification, seconds since the epoch
    qint64 size = 0;
    qint64 width = 0;
    qint64 height = 0;
    qint64 duration = 0;
    qint32 ver = 0;
    qint32 endbtype = 0; // catalogue type: the table the row lives in
    QString model;       // path of the file's model database
    qint32 enstate = 0;
    qint32 mcount = 0;
    QString nick;
    QString jsext;
};
