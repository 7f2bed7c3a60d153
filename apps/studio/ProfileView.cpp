#include "ProfileView.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace studio {

namespace {

const QColor kGrey(170, 170, 170), kSmoothed(0, 200, 255), kStrength(255, 150, 0), kPercent(255, 220, 0),
    kMinStrength(255, 80, 80), kEdge(255, 0, 255), kBackground(32, 32, 32), kAxis(110, 110, 110);

// A plot area mapping sample index and value onto pixels.
struct Plot {
    QRectF area;
    int samples = 1;
    double low = 0, high = 1;
    double x(double sample) const { return area.left() + area.width() * (sample + 0.5) / samples; }
    double y(double value) const { return area.bottom() - area.height() * (value - low) / (high - low); }
};

void drawCurve(QPainter& painter, const Plot& plot, const std::vector<float>& values, const QColor& colour,
               double width)
{
    QPainterPath path;
    for (size_t i = 0; i < values.size(); ++i) {
        const QPointF p(plot.x(static_cast<double>(i)), plot.y(values[i]));
        if (i == 0)
            path.moveTo(p);
        else
            path.lineTo(p);
    }
    painter.setPen(QPen(colour, width));
    painter.drawPath(path);
}

// A threshold across the plot, labelled at its right end above the line or below it, so
// that two close levels and the plot's title stay readable.
void drawLevel(QPainter& painter, const Plot& plot, double value, const QColor& colour, const QString& label,
               bool above)
{
    const double y = plot.y(value);
    painter.setPen(QPen(colour, 1, Qt::DashLine));
    painter.drawLine(QPointF(plot.area.left(), y), QPointF(plot.area.right(), y));
    const QFontMetrics metrics = painter.fontMetrics();
    const double baseline = std::clamp(above ? y - 3 : y + metrics.ascent() + 2, plot.area.top() + metrics.ascent(),
                                       plot.area.bottom() - 2);
    painter.drawText(QPointF(plot.area.right() - metrics.horizontalAdvance(label) - 4, baseline), label);
}

void drawFrame(QPainter& painter, const Plot& plot, const QString& label)
{
    painter.setPen(kAxis);
    painter.drawRect(plot.area);
    painter.drawText(QPointF(plot.area.left() + 4, plot.area.top() + painter.fontMetrics().ascent() + 2), label);
}

} // namespace

ProfileView::ProfileView(QWidget* parent) : QWidget(parent)
{
    setObjectName("profileView");
    setMouseTracking(true);
    setMinimumHeight(160);
}

void ProfileView::setProbe(std::optional<CaliperProbe> probe, const QString& title, const QString& message)
{
    probe_ = std::move(probe);
    title_ = title;
    message_ = message;
    update();
}

void ProfileView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), kBackground);
    painter.setRenderHint(QPainter::Antialiasing);
    const int line = painter.fontMetrics().height();
    painter.setPen(Qt::white);
    if (!probe_ || probe_->profile.grey.empty()) {
        painter.setPen(Qt::lightGray);
        painter.drawText(rect().adjusted(8, 8, -8, -8), Qt::AlignCenter | Qt::TextWordWrap,
                         message_.isEmpty() ? tr("Point at a ROI of the edge_points, line, circle or arc tool to see "
                                                 "the profile of the caliper under the mouse")
                                            : message_);
        return;
    }
    const frontend::Profile& p = probe_->profile;
    const frontend::ProfileSettings& s = probe_->settings;
    painter.drawText(QPointF(8, line), title_);
    const QRectF area = rect().adjusted(8, line + 6, -8, -line - 4);
    const double gap = 6;
    Plot grey{QRectF(area.left(), area.top(), area.width(), area.height() * 0.45 - gap / 2),
              static_cast<int>(p.grey.size()), 0, 255};
    Plot strength{QRectF(area.left(), grey.area.bottom() + gap, area.width(), area.height() * 0.55 - gap / 2),
                  static_cast<int>(p.grey.size())};
    strength.high = std::max({p.top, p.threshold, s.minStrength, 1.0}) * 1.15;
    strength.low = std::min(0.0, static_cast<double>(*std::min_element(p.strength.begin(), p.strength.end()))) * 1.15;

    drawFrame(painter, grey, tr("grey (raw, smoothed sigma %1)").arg(s.sigma));
    drawCurve(painter, grey, p.grey, kGrey, 1);
    drawCurve(painter, grey, p.smoothed, kSmoothed, 1.5);

    drawFrame(painter, strength,
              tr("edge strength along the scan (%1)")
                  .arg(s.transition == BothTransitions ? tr("both polarities")
                       : s.transition == LightToDark   ? tr("light to dark only")
                                                       : tr("dark to light only")));
    painter.setPen(QPen(kAxis, 1, Qt::DotLine));
    painter.drawLine(QPointF(strength.area.left(), strength.y(0)), QPointF(strength.area.right(), strength.y(0)));
    drawCurve(painter, strength, p.strength, kStrength, 1.5);
    const double percentLevel = s.percent / 100.0 * p.top;
    drawLevel(painter, strength, percentLevel, kPercent, tr("percent %1 % of strongest").arg(s.percent),
              percentLevel >= s.minStrength);
    drawLevel(painter, strength, s.minStrength, kMinStrength, tr("minStrength %1").arg(s.minStrength),
              percentLevel < s.minStrength);

    // The edges found, in scan order: the first is the one a caliper keeps.
    for (size_t i = 0; i < p.edges.size(); ++i) {
        const double x = grey.x(p.edges[i].position);
        painter.setPen(QPen(kEdge, i == 0 ? 2.5 : 1, i == 0 ? Qt::SolidLine : Qt::DashLine));
        painter.drawLine(QPointF(x, grey.area.top()), QPointF(x, strength.area.bottom()));
    }

    // The scan's way and what it found, under the plots.
    const QString way = s.reverse ? tr("scan ←") : tr("scan →");
    QString found = p.edges.empty() ? tr("no edge passes both thresholds")
                                    : tr("%n edge(s), first at %1 px", nullptr, static_cast<int>(p.edges.size()))
                                          .arg(p.edges.front().position, 0, 'f', 2);
    painter.setPen(Qt::white);
    painter.drawText(QPointF(8, height() - 4),
                     way + "   " + found + "   " +
                         tr("strongest %1, threshold %2").arg(p.top, 0, 'f', 1).arg(p.threshold, 0, 'f', 1));
    if (hoverSample_ >= 0 && hoverSample_ < grey.samples) {
        const double x = grey.x(hoverSample_);
        painter.setPen(QPen(Qt::white, 1, Qt::DotLine));
        painter.drawLine(QPointF(x, grey.area.top()), QPointF(x, strength.area.bottom()));
        const QString value = tr("sample %1: grey %2, smoothed %3, strength %4")
                                  .arg(hoverSample_)
                                  .arg(p.grey[hoverSample_], 0, 'f', 1)
                                  .arg(p.smoothed[hoverSample_], 0, 'f', 1)
                                  .arg(p.strength[hoverSample_], 0, 'f', 1);
        painter.drawText(QPointF(area.right() - painter.fontMetrics().horizontalAdvance(value), line), value);
    }
}

void ProfileView::mouseMoveEvent(QMouseEvent* event)
{
    if (!probe_)
        return;
    const QRectF area = rect().adjusted(8, 0, -8, 0);
    const int samples = static_cast<int>(probe_->profile.grey.size());
    hoverSample_ = static_cast<int>(std::floor((event->localPos().x() - area.left()) / area.width() * samples));
    update();
}

void ProfileView::leaveEvent(QEvent*)
{
    hoverSample_ = -1;
    update();
}

} // namespace studio
