#include "ImageView.h"

#include "OverlayPainter.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace studio {

namespace {

constexpr double kMinScale = 1.0 / 64, kMaxScale = 64;
constexpr double kGrabDistance = 6; // screen px around a handle or a ROI's outline
constexpr double kSmallestDrag = 3; // screen px: a shorter drag is a click

} // namespace

ImageView::ImageView(StudioDocument& document, QWidget* parent) : QWidget(parent), document_(document)
{
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(200, 150);
    connect(&document_, &StudioDocument::imageChanged, this, &ImageView::imageReplaced);
    for (auto signal : {&StudioDocument::roisChanged, &StudioDocument::measured})
        connect(&document_, signal, this, qOverload<>(&QWidget::update));
    connect(&document_, &StudioDocument::roiEdited, this, qOverload<>(&QWidget::update));
    connect(&document_, &StudioDocument::selectionChanged, this, qOverload<>(&QWidget::update));
}

void ImageView::setDrawKind(std::optional<RoiKind> kind)
{
    drawKind_ = kind;
    setCursor(kind ? Qt::CrossCursor : Qt::ArrowCursor);
}

void ImageView::imageReplaced()
{
    // The next image of a folder usually has the same size: the view stays where it is.
    const QSize size = document_.hasImage() ? document_.image()->picture.size() : QSize();
    if (size != imageSize_ || fitPending_)
        fitToWindow();
    imageSize_ = size;
    update();
}

void ImageView::setProbeOverlay(const QPolygonF& caliper, const std::vector<QPointF>& edges)
{
    probeCaliper_ = caliper;
    probeEdges_ = edges;
    update();
}

void ImageView::fitToWindow()
{
    if (!document_.hasImage() || width() < 2 || height() < 2) {
        fitPending_ = true;
        return;
    }
    fitPending_ = false;
    const QSize size = document_.image()->picture.size();
    view_.scale =
        std::clamp(std::min(width() / double(size.width()), height() / double(size.height())), kMinScale, kMaxScale);
    centreOn(QPointF((size.width() - 1) / 2.0, (size.height() - 1) / 2.0));
}

void ImageView::zoomToActualSize()
{
    zoomAt(QPointF(width() / 2.0, height() / 2.0), 1.0 / view_.scale);
}

void ImageView::zoomAt(QPointF widgetPoint, double factor)
{
    const QPointF fixed = view_.toImage(widgetPoint);
    view_.scale = std::clamp(view_.scale * factor, kMinScale, kMaxScale);
    view_.origin = fixed - widgetPoint / view_.scale;
    update();
}

void ImageView::centreOn(QPointF imagePoint)
{
    view_.origin = imagePoint - QPointF(width(), height()) / (2 * view_.scale);
    update();
}

void ImageView::resizeEvent(QResizeEvent*)
{
    if (fitPending_)
        fitToWindow();
}

void ImageView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(48, 48, 48));
    if (!document_.hasImage()) {
        painter.setPen(Qt::lightGray);
        painter.drawText(rect(), Qt::AlignCenter,
                         tr("Open an image (File > Open, or drop one here), then draw a ROI on it"));
        return;
    }
    paintImage(painter);
    paintOverlay(painter, view_, document_, preview_);
    if (!probeCaliper_.isEmpty())
        paintProbe(painter, view_, probeCaliper_, probeEdges_);
}

void ImageView::paintImage(QPainter& painter)
{
    const LoadedImage& image = *document_.image();
    // The whole pixels in view: pixel x covers x - 0.5 .. x + 0.5.
    const QPointF first = view_.toImage(QPointF(0, 0)), last = view_.toImage(QPointF(width(), height()));
    const int x0 = std::max(0, static_cast<int>(std::floor(first.x() + 0.5)));
    const int y0 = std::max(0, static_cast<int>(std::floor(first.y() + 0.5)));
    const int x1 = std::min(image.picture.width(), static_cast<int>(std::ceil(last.x() + 0.5)));
    const int y1 = std::min(image.picture.height(), static_cast<int>(std::ceil(last.y() + 0.5)));
    if (x0 >= x1 || y0 >= y1)
        return;
    int factor = 1;
    const QImage& source = image.pictureFor(view_.scale, factor);
    // The same pixels in the chosen copy, whose pixel k covers k * factor .. (k + 1) * factor.
    const int sx0 = x0 / factor, sy0 = y0 / factor;
    const int sx1 = std::min(source.width(), (x1 + factor - 1) / factor);
    const int sy1 = std::min(source.height(), (y1 + factor - 1) / factor);
    const QRectF target(view_.toWidget(QPointF(sx0 * factor - 0.5, sy0 * factor - 0.5)),
                        view_.toWidget(QPointF(sx1 * factor - 0.5, sy1 * factor - 0.5)));
    // Enlarged pixels stay crisp squares: that is what a user counts edges by.
    painter.setRenderHint(QPainter::SmoothPixmapTransform, view_.scale * factor < 1);
    painter.drawImage(target, source, QRectF(sx0, sy0, sx1 - sx0, sy1 - sy0));
}

bool ImageView::grab(QPointF widgetPoint, int& id, HandleRole& role) const
{
    const QPointF at = view_.toImage(widgetPoint);
    if (const RoiEntry* selected = document_.roi(document_.selectedId())) {
        // Handles before bodies, so that a handle inside another ROI still answers.
        for (const Handle& handle : selected->shape.handles(24 / view_.scale)) {
            const QPointF d = view_.toWidget(handle.position) - widgetPoint;
            if (std::max(std::abs(d.x()), std::abs(d.y())) <= kGrabDistance) {
                id = selected->id;
                role = handle.role;
                return true;
            }
        }
        if (selected->shape.contains(at, kGrabDistance / view_.scale)) {
            id = selected->id;
            role = HandleRole::Move;
            return true;
        }
    }
    // The topmost (last drawn) ROI under the cursor.
    const std::vector<RoiEntry>& rois = document_.rois();
    for (auto it = rois.rbegin(); it != rois.rend(); ++it) {
        if (it->shape.contains(at, kGrabDistance / view_.scale)) {
            id = it->id;
            role = HandleRole::Move;
            return true;
        }
    }
    return false;
}

void ImageView::mousePressEvent(QMouseEvent* event)
{
    pressWidget_ = event->localPos();
    pressImage_ = view_.toImage(pressWidget_);
    pressView_ = view_;
    if (event->button() != Qt::LeftButton) {
        gesture_ = Gesture::Pan;
        setCursor(Qt::ClosedHandCursor);
        return;
    }
    if (drawKind_ && document_.hasImage()) {
        gesture_ = Gesture::Draw;
        return;
    }
    if (grab(pressWidget_, dragId_, dragRole_)) {
        document_.select(dragId_);
        dragStart_ = document_.roi(dragId_)->shape;
        gesture_ = Gesture::Drag;
        return;
    }
    document_.select(0);
    gesture_ = Gesture::Pan;
}

void ImageView::mouseMoveEvent(QMouseEvent* event)
{
    const QPointF at = view_.toImage(event->localPos());
    const bool inside = document_.hasImage() && at.x() >= -0.5 && at.y() >= -0.5 &&
                        at.x() < document_.image()->picture.width() - 0.5 &&
                        at.y() < document_.image()->picture.height() - 0.5;
    emit cursorMoved(at, inside);
    switch (gesture_) {
    case Gesture::Pan:
        view_.origin = pressView_.origin - (event->localPos() - pressWidget_) / view_.scale;
        update();
        break;
    case Gesture::Draw:
        preview_ = RoiShape::fromDrag(*drawKind_, pressImage_, at);
        update();
        break;
    case Gesture::Drag: {
        RoiShape shape = dragStart_;
        if (dragRole_ == HandleRole::Move)
            shape.translate(at - pressImage_);
        else
            shape.moveHandle(dragRole_, at);
        document_.setShape(dragId_, shape);
        break;
    }
    case Gesture::None: {
        int id = 0;
        HandleRole role = HandleRole::Move;
        if (!drawKind_)
            setCursor(!grab(event->localPos(), id, role) ? Qt::ArrowCursor
                      : role == HandleRole::Move         ? Qt::SizeAllCursor
                                                         : Qt::CrossCursor);
        break;
    }
    }
}

void ImageView::mouseReleaseEvent(QMouseEvent* event)
{
    // Where the button comes up is where the drag ends, moves or no moves before it.
    if (gesture_ == Gesture::Drag || gesture_ == Gesture::Pan)
        mouseMoveEvent(event);
    const Gesture ended = gesture_;
    gesture_ = Gesture::None;
    preview_.reset();
    if (ended == Gesture::Draw) {
        const QPointF drag = event->localPos() - pressWidget_;
        const RoiShape shape = RoiShape::fromDrag(*drawKind_, pressImage_, view_.toImage(event->localPos()));
        if (std::hypot(drag.x(), drag.y()) >= kSmallestDrag && shape.isValid())
            document_.addRoi(shape);
        setDrawKind(std::nullopt);
        emit drawFinished();
    }
    setCursor(drawKind_ ? Qt::CrossCursor : Qt::ArrowCursor);
    update();
}

void ImageView::wheelEvent(QWheelEvent* event)
{
    // One notch (120) zooms by a quarter; touchpads send smaller steps.
    zoomAt(event->position(), std::pow(1.25, event->angleDelta().y() / 120.0));
    event->accept();
}

void ImageView::keyPressEvent(QKeyEvent* event)
{
    const RoiEntry* selected = document_.roi(document_.selectedId());
    const double step = event->modifiers() & Qt::ShiftModifier ? 1.0 : 0.1;
    QPointF nudge;
    switch (event->key()) {
    case Qt::Key_Left: nudge = {-step, 0}; break;
    case Qt::Key_Right: nudge = {step, 0}; break;
    case Qt::Key_Up: nudge = {0, -step}; break;
    case Qt::Key_Down: nudge = {0, step}; break;
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        if (selected)
            document_.removeRoi(selected->id);
        return;
    case Qt::Key_Escape:
        setDrawKind(std::nullopt);
        emit drawFinished();
        document_.select(0);
        return;
    default: QWidget::keyPressEvent(event); return;
    }
    if (selected) {
        RoiShape shape = selected->shape;
        shape.translate(nudge);
        document_.setShape(selected->id, shape);
    }
}

void ImageView::leaveEvent(QEvent*)
{
    emit cursorLeft();
}

} // namespace studio
