#include "COcrEngine.h"

#include "CLineOrder.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace {

// Only a confident classifier makes us read a line the other way round.
constexpr float kFlipConfidence = 0.9f;
// A turned line read at least this confidently is not read the other way too.
constexpr float kSureReading = 0.9f;

float Distance(const cv::Point2f& a, const cv::Point2f& b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

} // namespace

bool COcrEngine::Load(const std::string& det, const std::string& cls, const std::string& rec, const std::string& keys)
{
    return m_detector.Load(det) && m_recogniser.Load(rec, cls, keys);
}

cv::Mat COcrEngine::CropLine(const cv::Mat& bgr, const cv::RotatedRect& box)
{
    cv::Point2f pts[4];
    box.points(pts);
    std::sort(pts, pts + 4, [](const cv::Point2f& a, const cv::Point2f& b) { return a.x < b.x; });
    if (pts[0].y > pts[1].y)
        std::swap(pts[0], pts[1]);
    if (pts[2].y > pts[3].y)
        std::swap(pts[2], pts[3]);
    const cv::Point2f tl = pts[0], bl = pts[1], tr = pts[2], br = pts[3];
    const int width = std::max(1, static_cast<int>(std::max(Distance(tl, tr), Distance(bl, br))));
    const int height = std::max(1, static_cast<int>(std::max(Distance(tl, bl), Distance(tr, br))));
    const cv::Point2f src[4] = {tl, tr, br, bl};
    const cv::Point2f dst[4] = {{0, 0}, {static_cast<float>(width), 0},
                                {static_cast<float>(width), static_cast<float>(height)},
                                {0, static_cast<float>(height)}};
    cv::Mat line;
    cv::warpPerspective(bgr, line, cv::getPerspectiveTransform(src, dst), cv::Size(width, height),
                        cv::INTER_CUBIC, cv::BORDER_REPLICATE);
    // A tall crop is a vertical run of text: turn it to run left to right.
    if (line.rows >= line.cols * 1.5)
        cv::rotate(line, line, cv::ROTATE_90_COUNTERCLOCKWISE);
    return line;
}

std::vector<std::string> COcrEngine::Read(const cv::Mat& bgr)
{
    const std::vector<cv::RotatedRect> boxes = m_detector.Detect(bgr);
    std::vector<std::string> texts(boxes.size());
    std::vector<CLineOrder::Box> places(boxes.size());
    size_t flipped = 0;
    for (size_t i = 0; i < boxes.size(); ++i) {
        cv::Mat line = CropLine(bgr, boxes[i]);
        float confidence = 0;
        if (m_recogniser.UpsideDown(line) > kFlipConfidence) {
            cv::Mat turned;
            cv::rotate(line, turned, cv::ROTATE_180);
            texts[i] = m_recogniser.Recognise(turned, &confidence);
            ++flipped;
            // A confident turned reading stands; otherwise the line as it lies gets its chance.
            if (confidence < kSureReading) {
                float asIs = 0;
                std::string asIsText = m_recogniser.Recognise(line, &asIs);
                if (asIs >= confidence) {
                    texts[i] = std::move(asIsText);
                    --flipped;
                }
            }
        } else {
            texts[i] = m_recogniser.Recognise(line, &confidence);
        }
        const cv::Rect2f bounds = boxes[i].boundingRect2f();
        places[i] = CLineOrder::Box{bounds.x, bounds.y + bounds.height / 2, static_cast<float>(std::min(line.rows, line.cols))};
    }
    // A picture whose lines mostly read upside down is read as a page turned round.
    if (flipped * 2 > boxes.size()) {
        for (size_t i = 0; i < boxes.size(); ++i) {
            const cv::Rect2f bounds = boxes[i].boundingRect2f();
            places[i].fX = bgr.cols - (bounds.x + bounds.width);
            places[i].fY = bgr.rows - places[i].fY;
        }
    }
    std::vector<std::string> lines;
    for (const std::vector<int>& members : CLineOrder::Order(places)) {
        std::vector<std::string> parts;
        for (int i : members)
            parts.push_back(texts[i]);
        std::string text = CLineOrder::Join(parts);
        if (!text.empty())
            lines.push_back(std::move(text));
    }
    return lines;
}
