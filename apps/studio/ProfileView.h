#pragma once

// The profile of the caliper under the mouse: the grey values along the scan and their
// smoothing above; below, the edge strength the caliper searches, with the two
// thresholds it applies (percent of the strongest response, minStrength) as lines and
// the edges they let through as marks, the first (the one a caliper keeps) bold. Moving
// a setting moves the curves and lines at once: the view that makes percent,
// minStrength and sigma obvious.

#include "CaliperProbe.h"

#include <QWidget>

namespace studio {

class ProfileView : public QWidget {
    Q_OBJECT
public:
    explicit ProfileView(QWidget* parent = nullptr);

    /// Shows a probe, titled; none: `message` says what to do or why there is none.
    void setProbe(std::optional<CaliperProbe> probe, const QString& title, const QString& message = {});
    const std::optional<CaliperProbe>& probe() const { return probe_; }

    QSize sizeHint() const override { return {600, 260}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    std::optional<CaliperProbe> probe_;
    QString title_, message_;
    int hoverSample_ = -1;
};

} // namespace studio
