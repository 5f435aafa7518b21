#include "CMotionPlot.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QUuid>

#include <opencv2/imgproc.hpp>

QVector<CMotionPlot::Point> CMotionPlot::ReadModel(const QString& model)
{
    QVector<Point> points;
    const QString name = QUuid::createUuid().toString();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(model);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(QStringLiteral("SELECT time, diff FROM tb_data_2 ORDER BY id"))) {
                while (query.next())
                    points.append(Point{query.value(0).toLongLong(), query.value(1).toInt()});
            }
        }
    }
    QSqlDatabase::removeDatabase(name);
    return points;
}

cv::Mat CMotionPlot::Draw(const QVector<Point>& points, int level, const QVariantList& events, int width, int height)
{
    cv::Mat plot(height, width, CV_8UC3, cv::Scalar::all(255));
    const int left = 40, right = width - 10, top = 10, bottom = height - 30;
    const double endMs = points.isEmpty() ? 1.0 : std::max<double>(1.0, points.last().timeMs);
    const auto x = [&](double ms) { return left + static_cast<int>((right - left) * ms / endMs); };
    // The measure rarely nears 64: the scale ends at the next multiple of 8 above what is shown.
    int peak = std::max(level, 1);
    for (const Point& p : points)
        peak = std::max(peak, p.diff);
    const int scale = std::min(64, (peak / 8 + 1) * 8);
    const auto y = [&](int diff) { return bottom - (bottom - top) * std::min(diff, scale) / scale; };

    for (const QVariant& e : events) {
        const QVariantMap event = e.toMap();
        cv::rectangle(plot, cv::Point(x(event.value(QStringLiteral("startTs")).toDouble() * 1000), top),
                      cv::Point(x(event.value(QStringLiteral("endTs")).toDouble() * 1000), bottom),
                      cv::Scalar(200, 230, 255), cv::FILLED);
    }
    cv::rectangle(plot, cv::Point(left, top), cv::Point(right, bottom), cv::Scalar::all(120));
    std::vector<cv::Point> line;
    line.reserve(points.size());
    for (const Point& p : points)
        line.emplace_back(x(p.timeMs), y(p.diff));
    if (!line.empty())
        cv::polylines(plot, line, false, cv::Scalar(160, 60, 0), 1, cv::LINE_AA);
    cv::line(plot, cv::Point(left, y(level)), cv::Point(right, y(level)), cv::Scalar(0, 0, 220), 1);

    const auto text = [&](const QString& s, cv::Point at) {
        cv::putText(plot, s.toStdString(), at, cv::FONT_HERSHEY_SIMPLEX, 0.4, cv::Scalar::all(40), 1, cv::LINE_AA);
    };
    text(QString::number(scale), cv::Point(8, top + 10));
    text(QStringLiteral("0"), cv::Point(20, bottom));
    text(QStringLiteral("level %1").arg(level), cv::Point(left + 4, y(level) - 4));
    const int ticks = 10;
    for (int i = 0; i <= ticks; ++i) {
        const double ms = endMs * i / ticks;
        cv::line(plot, cv::Point(x(ms), bottom), cv::Point(x(ms), bottom + 4), cv::Scalar::all(120));
        text(QString::number(ms / 1000.0, 'f', 1) + QStringLiteral(" s"), cv::Point(x(ms) - 14, bottom + 18));
    }
    return plot;
}
