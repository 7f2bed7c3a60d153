#pragma once

// The image with its ROIs: zoom to the cursor with the wheel, pan by dragging the
// background (or with the middle button), fit to the window; ROIs drawn by dragging in
// a draw mode, selected by a click, moved by their body and reshaped by their handles;
// the arrow keys nudge the selected ROI by 0.1 px (Shift: 1 px), Delete removes it.
//
// Only the visible part of the image is painted, from the smallest halving that still
// has a pixel per screen pixel, so a large image pans and zooms as fast as a small one.

#include "StudioDocument.h"
#include "Viewport.h"

#include <QWidget>

#include <optional>

namespace studio {

class ImageView : public QWidget {
    Q_OBJECT
public:
    explicit ImageView(StudioDocument& document, QWidget* parent = nullptr);

    /// The shape the next left-button drag draws; none: select and edit.
    void setDrawKind(std::optional<RoiKind> kind);
    std::optional<RoiKind> drawKind() const { return drawKind_; }

    const Viewport& viewport() const { return view_; }
    void fitToWindow();
    /// One image pixel per screen pixel, keeping the widget's centre.
    void zoomToActualSize();
    /// Zooms by `factor`, keeping the image point under `widgetPoint` where it is.
    void zoomAt(QPointF widgetPoint, double factor);
    /// Scrolls so that an image point lies at the widget's centre.
    void centreOn(QPointF imagePoint);

    /// The caliper the profile view shows, outlined over the image with its edges.
    void setProbeOverlay(const QPolygonF& caliper, const std::vector<QPointF>& edges);

    QSize sizeHint() const override { return {900, 700}; }

signals:
    /// The image point under the cursor (also outside the image); `inside` tells which.
    void cursorMoved(QPointF imagePoint, bool inside);
    void cursorLeft();
    /// A ROI was drawn and the view is back in edit mode.
    void drawFinished();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    enum class Gesture { None, Pan, Draw, Drag };
    void paintImage(QPainter& painter);
    /// The selected ROI's handle, or a ROI's body (role Move), under a widget point.
    bool grab(QPointF widgetPoint, int& id, HandleRole& role) const;
    void imageReplaced();

    StudioDocument& document_;
    Viewport view_;
    bool fitPending_ = true; // fit the next image once the widget has its size
    QSize imageSize_;        // of the image shown
    std::optional<RoiKind> drawKind_;

    Gesture gesture_ = Gesture::None;
    QPointF pressWidget_, pressImage_;
    Viewport pressView_;
    int dragId_ = 0;
    HandleRole dragRole_ = HandleRole::Move;
    RoiShape dragStart_;
    std::optional<RoiShape> preview_;
    QPolygonF probeCaliper_;
    std::vector<QPointF> probeEdges_;
};

} // namespace studio
