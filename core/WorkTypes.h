#pragma once
/**
 * @file WorkTypes.h
 * @brief The table of work types: one row a work.
 *
 * Each row gives the type number passed to CWorkLib::CreateWork, the class the
 * library constructs, its family, the zrwork verb that runs it and a one-line
 * description. The library builds its factory from these rows and hosts may read
 * them to list what exists. Type 11 is deliberately unassigned.
 *
 * A row is X(type, class, family, verb, description). Adding a work is its class
 * plus one row here (and its header in the factory's include list).
 */

#include <cstring>

#define ZRW_WORK_TYPES(X)                                                                                          \
    X(0, CDetPlayWork, Player, "play", "plays a video file or a capture device, optionally filtered, for a live preview") \
    X(1, CDetColorWork, Analysis, "colour", "measures the colour of a video, picture or camera; writes it white-balanced") \
    X(2, CDetMoveWork, Analysis, "motion", "finds where a video moves; keeps the per-frame measure in the file's model database") \
    X(3, CDetFaceWork, Analysis, "faces", "finds the faces of a video or picture, tells who is who and when; keeps the marks in the file's model database") \
    X(4, CSplitMoveWork, Analysis, "split", "cuts each moving stretch of a video into a file of its own")             \
    X(5, CDetVoiceWork, Analysis, "voice", "cuts a recording into its voiced stretches, lists them in a CSV")        \
    X(6, CDetVFltResGainWork, VideoFilter, "beautify", "smooths skin and brightens every frame of a video, or one picture") \
    X(7, CDetVFltNeuStyleWork, VideoFilter, "style", "repaints every frame of a video, or one picture, with a style network") \
    X(8, CDetVFltWaifu2x, VideoFilter, "upscale", "doubles the size of every frame of a video, or one picture")      \
    X(9, CDetAFltRnSilenceWork, Audio, "unsilence", "writes a recording without its long silences as an .mp3")       \
    X(10, CDetAFltRnnoiseWork, Audio, "reencode", "decodes a video to pictures, encodes them again, puts the sound back") \
    X(12, CDetAFltAudio2Text, Audio, "text", "recognises the speech of a recording into a .txt")                     \
    X(13, CDFileFltPdf2Docx, Document, "docx", "converts a .pdf into a .docx with LibreOffice")                      \
    X(14, CDFileFltDocx2Pdf, Document, "pdf", "converts a .docx into a .pdf with LibreOffice")                       \
    X(15, CDPicFltPic2Text, Picture, "ocr", "reads the text lines of a picture, Chinese and English")

/** The family a work belongs to, as its class name prefix tells; the player, which
 *  writes nothing and hands its frames to the host, is a family of its own. */
enum class WorkFamily { Analysis, Audio, VideoFilter, Document, Picture, Player };

/** One row of the table, without the factory. */
struct WorkTypeInfo
{
    int nType;
    const char* sClass;
    WorkFamily enFamily;
    const char* sVerb;
    const char* sDescription;
};

#define ZRW_WORK_TYPE_INFO(type, cls, family, verb, description) {type, #cls, WorkFamily::family, verb, description},
/** Every assigned work type, in type order. */
inline constexpr WorkTypeInfo kWorkTypes[] = {ZRW_WORK_TYPES(ZRW_WORK_TYPE_INFO)};
#undef ZRW_WORK_TYPE_INFO

/** The row of @p type, or null for a number no work has. */
inline const WorkTypeInfo* FindWorkType(int type)
{
    for (const WorkTypeInfo& info : kWorkTypes) {
        if (info.nType == type)
            return &info;
    }
    return nullptr;
}

/** The row whose zrwork verb is @p verb, or null. */
inline const WorkTypeInfo* FindWorkVerb(const char* verb)
{
    for (const WorkTypeInfo& info : kWorkTypes) {
        if (std::strcmp(info.sVerb, verb) == 0)
            return &info;
    }
    return nullptr;
}

/** The family's name as hosts print it. */
inline const char* WorkFamilyName(WorkFamily family)
{
    switch (family) {
    case WorkFamily::Analysis: return "analysis";
    case WorkFamily::Audio: return "audio";
    case WorkFamily::VideoFilter: return "video filter";
    case WorkFamily::Document: return "document";
    case WorkFamily::Picture: return "picture";
    case WorkFamily::Player: return "player";
    }
    return "";
}
