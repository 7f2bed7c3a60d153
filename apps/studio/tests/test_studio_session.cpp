// The studio's measuring path and ROI geometry, without a window: the scan arrow against
// where the tools really scan, the shapes against the shared layer's reading of them,
// which ROIs a change re-measures, and the results table's CSV.

#include "CaliperProbe.h"
#include "MeasureSession.h"
#include "ResultText.h"
#include "RoiShape.h"
#include "Synthetic.h"

#include <QtTest>

#include <cmath>

using namespace studio;

namespace {

// A bright annulus (radii 30 and 60) on a dark ground: along any ray from its centre a
// scan meets a rising edge at 30 px and a falling one at 60 px, so the first edge a scan
// finds tells which way it ran.
const QPointF kCentre(200, 200);

const cv::Mat& annulus()
{
    static const cv::Mat image = [] {
        synthetic::Scene scene(cv::Size(400, 400), 30);
        scene.fillDisc({kCentre.x(), kCentre.y()}, 60, 200);
        scene.fillDisc({kCentre.x(), kCentre.y()}, 30, 30);
        return scene.toGrey(1.0);
    }();
    return image;
}

QPointF along(double degrees, double distance)
{
    const double a = degrees * M_PI / 180;
    return kCentre + QPointF(std::cos(a), std::sin(a)) * distance;
}

double distance(QPointF a, QPointF b)
{
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

std::vector<QPointF> foundPoints(const json& outputs)
{
    std::vector<QPointF> points;
    for (const char* key : {"points", "edgePoints"})
        if (outputs.contains(key))
            for (const json& p : outputs.at(key))
                points.emplace_back(p[0].get<double>(), p[1].get<double>());
    if (outputs.contains("point"))
        points.emplace_back(outputs.at("point")[0].get<double>(), outputs.at("point")[1].get<double>());
    return points;
}

// The ROI of a data row: its columns tool, roi and settings (JSON).
RoiEntry fetchedEntry()
{
    QFETCH(QString, tool);
    QFETCH(QString, roi);
    QFETCH(QString, settings);
    RoiEntry entry;
    entry.name = "probe";
    entry.tool = tool.toStdString();
    entry.shape = RoiShape::fromJson(json::parse(roi.toStdString()), "probe");
    entry.settings = frontend::validatedSettings(frontend::findTool(entry.tool), json::parse(settings.toStdString()), "probe");
    return entry;
}

} // namespace

class StudioSessionTest : public QObject {
    Q_OBJECT

private slots:
    void scanArrowPointsTheWayTheToolScans_data();
    void scanArrowPointsTheWayTheToolScans();
    void probedCaliperFindsTheToolsEdge_data();
    void probedCaliperFindsTheToolsEdge();
    void shapesAgreeWithTheSharedLayer();
    void draggedCornerLeavesTheOppositeCornerInPlace();
    void onlyChangedRoisAreMeasuredAgain();
    void resultsTableQuotesAndUnitesColumns();
};

void StudioSessionTest::scanArrowPointsTheWayTheToolScans_data()
{
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QString>("roi");
    QTest::addColumn<QString>("settings");
    // Rays at angles of every quadrant, in both senses of every direction setting. The
    // rectangles run from the centre out to 80 px along the ray.
    for (double ray : {0.0, 35.0, 120.0, 250.0}) {
        const QPointF mid = along(ray, 40);
        const auto rotated = [&](double angle, double width, double height) {
            return QString(R"({"type": "rotated_rect", "centre": [%1, %2], "angle": %3, "width": %4, "height": %5})")
                .arg(mid.x())
                .arg(mid.y())
                .arg(angle)
                .arg(width)
                .arg(height);
        };
        const double ccw = -ray; // the same ray counter-clockwise with y up
        const QString ring = R"({"type": "ring", "centre": [200, 200], "radius1": 10, "radius2": 80})";
        const QString arc =
            QString(
                R"({"type": "arc", "centre": [200, 200], "radius1": 10, "radius2": 80, "angle1": %1, "angle2": %2})")
                .arg(ccw - 40)
                .arg(ccw + 40);
        const QString name = QString::number(ray) + " deg ";
        for (const char* d : {"LeftToRight", "RightToLeft"}) {
            QTest::newRow(qPrintable(name + "edge_point " + d))
                << "edge_point" << rotated(ray, 80, 12) << QString(R"({"direction": "%1"})").arg(d);
            QTest::newRow(qPrintable(name + "line " + d))
                << "line" << rotated(ray, 80, 24) << QString(R"({"direction": "%1", "segmentStep": 4})").arg(d);
            QTest::newRow(qPrintable(name + "circle on a ring " + d))
                << "circle" << ring << QString(R"({"direction": "%1", "bestEdgePerCaliper": false})").arg(d);
            QTest::newRow(qPrintable(name + "arc " + d))
                << "arc" << arc << QString(R"({"direction": "%1", "bestEdgePerCaliper": false})").arg(d);
        }
        for (const char* d : {"Forward", "Backward"}) {
            QTest::newRow(qPrintable(name + "edge_points along the width " + d))
                << "edge_points" << rotated(ray, 80, 12) << QString(R"({"direction": "%1"})").arg(d);
            QTest::newRow(qPrintable(name + "edge_points along the height " + d))
                << "edge_points" << rotated(ray + 90, 12, 80)
                << QString(R"({"direction": "%1", "scanAxis": "AlongHeight"})").arg(d);
        }
    }
}

void StudioSessionTest::scanArrowPointsTheWayTheToolScans()
{
    const RoiEntry entry = fetchedEntry();
    const Measurement m = measure(entry, annulus(), "annulus");
    QVERIFY2(m.ran && m.success, m.error.c_str());
    const std::optional<QLineF> arrow = scanArrow(entry.shape, entry.settings);
    QVERIFY(arrow);
    // The first edge met is the one at the arrow's tail end of the band; round bands
    // are scanned along every radius, so there it is the radius that tells.
    const std::vector<QPointF> points = foundPoints(m.outputs);
    QVERIFY(!points.empty());
    const bool radial = entry.shape.kind == RoiKind::Ring || entry.shape.kind == RoiKind::Arc;
    const auto gap = [&](QPointF p, QPointF end) {
        return radial ? std::abs(distance(p, kCentre) - distance(end, kCentre)) : distance(p, end);
    };
    for (const QPointF& p : points)
        QVERIFY2(gap(p, arrow->p1()) < gap(p, arrow->p2()),
                 qPrintable(QString("edge (%1, %2) lies nearer the arrow's head").arg(p.x()).arg(p.y())));
}

void StudioSessionTest::probedCaliperFindsTheToolsEdge_data()
{
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QString>("roi");
    QTest::addColumn<QString>("settings");
    QTest::addColumn<QPointF>("at");
    QTest::addColumn<double>("tolerance");
    // Straight calipers sample as the tools do; the circle tools' polar unwrap is only
    // approximated by a straight radial caliper.
    const QPointF mid = along(35, 40);
    const QString turned =
        QString(R"({"type": "rotated_rect", "centre": [%1, %2], "angle": 35, "width": 80, "height": 40})")
            .arg(mid.x())
            .arg(mid.y());
    const QString across =
        QString(R"({"type": "rotated_rect", "centre": [%1, %2], "angle": 125, "width": 40, "height": 80})")
            .arg(mid.x())
            .arg(mid.y());
    QTest::newRow("line") << "line" << turned << R"({"segmentStep": 4})" << mid + QPointF(3, -5) << 1e-3;
    QTest::newRow("edge_points, backward") << "edge_points" << turned << R"({"direction": "Backward"})" << mid << 1e-3;
    QTest::newRow("edge_points along the height")
        << "edge_points" << across << R"({"scanAxis": "AlongHeight"})" << mid + QPointF(-4, 2) << 1e-3;
    QTest::newRow("edge_points, upright rectangle")
        << "edge_points"
        << R"({"type": "rect", "x": 200, "y": 180, "width": 80, "height": 40})"
        << "{}" << QPointF(240, 205) << 1e-3;
    QTest::newRow("circle, inwards") << "circle"
                                     << R"({"type": "ring", "centre": [200, 200], "radius1": 40, "radius2": 80})"
                                     << R"({"direction": "RightToLeft"})" << along(-60, 50) << 0.5;
}

void StudioSessionTest::probedCaliperFindsTheToolsEdge()
{
    QFETCH(QPointF, at);
    QFETCH(double, tolerance);
    const RoiEntry entry = fetchedEntry();
    const Measurement m = measure(entry, annulus(), "annulus");
    QVERIFY2(m.ran && m.success, m.error.c_str());
    std::string why;
    const std::optional<CaliperProbe> probe = probeCaliper(entry, annulus(), at, &why);
    QVERIFY2(probe, why.c_str());
    QVERIFY(probe->outline().containsPoint(at, Qt::OddEvenFill));
    QVERIFY(!probe->profile.edges.empty());
    // The first edge of the probed caliper is the edge the tool found in that caliper.
    const cv::Point2d first = probe->profile.edges.front().point;
    double nearest = 1e9;
    for (const QPointF& p : foundPoints(m.outputs))
        nearest = std::min(nearest, distance(p, QPointF(first.x, first.y)));
    QVERIFY2(nearest < tolerance, qPrintable(QString("nearest tool edge %1 px away").arg(nearest)));
}

void StudioSessionTest::shapesAgreeWithTheSharedLayer()
{
    // Corners in the order and turn the library gives them, and ring and arc angles
    // counter-clockwise with y up as the shared layer's outline draws them.
    const RoiShape rotated = RoiShape::fromJson(
        json::parse(R"({"type": "rotated_rect", "centre": [120.5, 80.2], "angle": 33, "width": 90, "height": 20})"),
        "t");
    const RoiShape arc = RoiShape::fromJson(
        json::parse(
            R"({"type": "arc", "centre": [150, 140], "radius1": 40, "radius2": 70, "angle1": 300, "angle2": 50})"),
        "t");
    for (const RoiShape& shape : {rotated, arc}) {
        const frontend::RoiInput parsed = frontend::parseRoi(shape.toJson(), {kindName(shape.kind)}, "t");
        QCOMPARE(QString::fromStdString(parsed.echo.dump()), QString::fromStdString(shape.toJson().dump()));
        const std::vector<cv::Point2d> outline = frontend::roiOutline(*parsed.shape);
        std::vector<QPointF> expected;
        if (shape.kind == RoiKind::RotatedRect) {
            for (const QPointF& corner : shape.corners())
                expected.push_back(corner);
        } else {
            // The outline starts on the outer radius at angle1 and reaches angle2 on it.
            expected = {polarPoint(shape.centre, 70, 300), polarPoint(shape.centre, 70, 50)};
            const std::vector<cv::Point2d> ends = {outline.front(), outline[outline.size() / 2 - 1]};
            for (size_t i = 0; i < ends.size(); ++i)
                QVERIFY(distance(expected[i], QPointF(ends[i].x, ends[i].y)) < 1e-3);
            // The angle handles sit on the boundary rays, the radius handles inside the span
            // (the centre's handle, which moves the arc, stands off it).
            for (const Handle& h : shape.handles(0))
                QVERIFY(h.role == HandleRole::Move || shape.contains(h.position, 1e-6));
            continue;
        }
        QCOMPARE(outline.size(), expected.size());
        for (size_t i = 0; i < outline.size(); ++i)
            QVERIFY(distance(expected[i], QPointF(outline[i].x, outline[i].y)) < 1e-3);
    }
}

void StudioSessionTest::draggedCornerLeavesTheOppositeCornerInPlace()
{
    for (const char* text :
         {R"({"type": "rotated_rect", "centre": [100, 100], "angle": 30, "width": 60, "height": 20})",
          R"({"type": "rect", "x": 40, "y": 50, "width": 60, "height": 20})"}) {
        RoiShape shape = RoiShape::fromJson(json::parse(text), "t");
        const QPolygonF before = shape.corners();
        const QPointF target = before[2] + QPointF(7.3, 4.1); // bottom-right, pulled outwards
        shape.moveHandle(HandleRole::BottomRight, target);
        const QPolygonF after = shape.corners();
        QVERIFY2(distance(after[0], before[0]) < 0.1, text); // top-left stays (to the 0.1 px grid)
        QVERIFY2(distance(after[2], target) < 0.1, text);    // the corner follows the cursor
        // And the result is a ROI the command-line tool reads back to the same numbers,
        // written as the short decimals of the 0.1 px grid.
        const QString saved = QString::fromStdString(shape.toJson().dump());
        QCOMPARE(QString::fromStdString(RoiShape::fromJson(shape.toJson(), "t").toJson().dump()), saved);
        QVERIFY2(!saved.contains(QRegularExpression("\\.\\d{2,}")), qPrintable(saved));
    }
}

void StudioSessionTest::onlyChangedRoisAreMeasuredAgain()
{
    std::vector<RoiEntry> entries(3);
    for (int i = 0; i < 3; ++i) {
        entries[i].id = i + 1;
        entries[i].name = "ray" + std::to_string(i);
        entries[i].tool = "edge_point";
        entries[i].shape = RoiShape::fromJson(
            json::parse(
                QString(R"({"type": "rotated_rect", "centre": [%1, %2], "angle": %3, "width": 80, "height": 12})")
                    .arg(along(i * 100, 40).x())
                    .arg(along(i * 100, 40).y())
                    .arg(i * 100)
                    .toStdString()),
            "t");
    }
    MeasureSession session;
    session.setImage(annulus(), "annulus");
    session.setEntries(entries);
    QCOMPARE(session.remeasure(), 3);
    entries[1].settings["direction"] = "RightToLeft";
    std::swap(entries[0], entries[2]); // reordered ROIs keep their measurements too
    session.setEntries(entries);
    QCOMPARE(session.remeasure(), 1);
    for (size_t i = 0; i < entries.size(); ++i)
        QCOMPARE(QString::fromStdString(session.measurements()[i].outputs.dump()),
                 QString::fromStdString(measure(entries[i], annulus(), "annulus").outputs.dump()));
    // Another image: everything again, on the new pixels.
    cv::Mat shifted;
    cv::copyMakeBorder(annulus(), shifted, 3, 0, 0, 0, cv::BORDER_REPLICATE);
    session.setImage(shifted, "shifted");
    QCOMPARE(session.remeasure(), 3);
    QCOMPARE(QString::fromStdString(session.measurements()[0].outputs.dump()),
             QString::fromStdString(measure(entries[0], shifted, "shifted").outputs.dump()));
}

void StudioSessionTest::resultsTableQuotesAndUnitesColumns()
{
    ResultRow circle, failed;
    circle.image = "a,b.png";
    circle.entry.name = "hole \"A\"";
    circle.entry.tool = "circle";
    circle.measurement.ran = circle.measurement.success = true;
    circle.measurement.outputs =
        json::parse(R"({"centre": [1.5, 2.25], "radius": 3.125, "edgePoints": [[1, 2], [3, 4], [5, 6]]})");
    failed.image = "c.png";
    failed.entry.name = "edge";
    failed.entry.tool = "edge_point";
    failed.measurement.error = "roi reaches outside\nthe image";
    const ResultTable table = tabulate({circle, failed});
    QCOMPARE(QString::fromStdString(toCsv(table)),
             QString("image,roi,tool,success,error,centre.x,centre.y,radius,edgePoints.count\r\n"
                     "\"a,b.png\",\"hole \"\"A\"\"\",circle,true,,1.5,2.25,3.125,3\r\n"
                     "c.png,edge,edge_point,,\"roi reaches outside\nthe image\",,,,\r\n"));
    QVERIFY(!QString::fromStdString(toTabSeparated(table)).contains("outside\nthe"));
}

QTEST_APPLESS_MAIN(StudioSessionTest)
#include "test_studio_session.moc"
