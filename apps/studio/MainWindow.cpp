#include "MainWindow.h"

#include "FolderRun.h"
#include "ImageView.h"
#include "ParamPanel.h"
#include "ProfileView.h"
#include "ResultsTable.h"
#include "RoiListPanel.h"

#include <QActionGroup>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QSplitter>
#include <QStatusBar>
#include <QToolBar>
#include <QtConcurrent>

namespace studio {

namespace {

const char* const kShapeLabels[] = {"Rotated rectangle", "Rectangle", "Ring", "Arc", "Line"};

QString labelOf(RoiKind kind)
{
    return QObject::tr(
        kShapeLabels[static_cast<int>(std::find(allKinds().begin(), allKinds().end(), kind) - allKinds().begin())]);
}

// The direction a scan runs the other way.
std::string reversedDirection(const std::string& direction)
{
    static const std::pair<const char*, const char*> opposites[] = {
        {"LeftToRight", "RightToLeft"}, {"TopToBottom", "BottomToTop"}, {"Forward", "Backward"}};
    for (const auto& [a, b] : opposites) {
        if (direction == a)
            return b;
        if (direction == b)
            return a;
    }
    return direction;
}

} // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent)
{
    setObjectName("studioWindow");
    setAcceptDrops(true);
    view_ = new ImageView(document_);
    view_->setObjectName("imageView");
    setCentralWidget(view_);
    results_ = new ResultsTable;
    results_->setObjectName("resultsTable");
    profile_ = new ProfileView;
    cursorLabel_ = new QLabel;
    cursorLabel_->setObjectName("cursorLabel");
    cursorLabel_->setMinimumWidth(320);
    imageLabel_ = new QLabel;
    statusBar()->addWidget(cursorLabel_);
    statusBar()->addPermanentWidget(imageLabel_);
    buildDocks();
    buildMenus();

    connect(&loader_, &QFutureWatcher<void>::finished, this, &MainWindow::imageLoaded);
    connect(view_, &ImageView::cursorMoved, this, &MainWindow::showCursor);
    connect(view_, &ImageView::cursorMoved, this, &MainWindow::probeAt);
    connect(&document_, &StudioDocument::roiEdited, this, [this](int id) {
        if (id == probeId_)
            refreshProbe();
    });
    connect(&document_, &StudioDocument::roisChanged, this, &MainWindow::refreshProbe);
    connect(&document_, &StudioDocument::imageChanged, this, &MainWindow::refreshProbe);
    connect(view_, &ImageView::cursorLeft, cursorLabel_, &QLabel::clear);
    connect(view_, &ImageView::drawFinished, this, [this] { editAction_->setChecked(true); });
    connect(&document_, &StudioDocument::measured, this, &MainWindow::updateResults);
    connect(&document_, &StudioDocument::roisChanged, this, &MainWindow::updateResults);
    connect(&document_, &StudioDocument::imageChanged, this, &MainWindow::updateTitle);
    updateTitle();
    resize(1400, 900);
}

MainWindow::~MainWindow()
{
    loader_.waitForFinished();
}

void MainWindow::buildDocks()
{
    auto* side = new QSplitter(Qt::Vertical);
    roiList_ = new RoiListPanel(document_);
    side->addWidget(roiList_);
    side->addWidget(new ParamPanel(document_));
    side->setSizes({220, 600});
    auto* sideDock = new QDockWidget(tr("ROIs and settings"), this);
    sideDock->setObjectName("sideDock");
    sideDock->setWidget(side);
    addDockWidget(Qt::RightDockWidgetArea, sideDock);

    auto* profileDock = new QDockWidget(tr("Caliper profile"), this);
    profileDock->setObjectName("profileDock");
    profileDock->setWidget(profile_);
    addDockWidget(Qt::BottomDockWidgetArea, profileDock);
    auto* resultsDock = new QDockWidget(tr("Results"), this);
    resultsDock->setObjectName("resultsDock");
    resultsDock->setWidget(results_);
    addDockWidget(Qt::BottomDockWidgetArea, resultsDock);
    splitDockWidget(profileDock, resultsDock, Qt::Horizontal);
    resizeDocks({sideDock}, {380}, Qt::Horizontal);
    resizeDocks({profileDock, resultsDock}, {640, 500}, Qt::Horizontal);
    resizeDocks({profileDock}, {240}, Qt::Vertical);
}

void MainWindow::buildMenus()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(
        tr("&Open image…"), this,
        [this] {
            const QString path = QFileDialog::getOpenFileName(this, tr("Open image"), QString(),
                                                              tr("Images (*.png *.bmp *.jpg *.jpeg *.tif *.tiff)"),
                                                              nullptr, QFileDialog::DontUseNativeDialog);
            if (!path.isEmpty())
                openImage(path);
        },
        QKeySequence::Open);
    file->addAction(
        tr("Open &folder…"), this,
        [this] {
            const QString folder = QFileDialog::getExistingDirectory(
                this, tr("Open folder"), QString(), QFileDialog::ShowDirsOnly | QFileDialog::DontUseNativeDialog);
            if (!folder.isEmpty())
                openFolder(folder);
        },
        QKeySequence(tr("Ctrl+Shift+O")));
    file->addAction(
        tr("&Next image"), this, [this] { stepImage(1); }, QKeySequence(Qt::Key_PageDown));
    file->addAction(
        tr("&Previous image"), this, [this] { stepImage(-1); }, QKeySequence(Qt::Key_PageUp));
    file->addSeparator();
    file->addAction(tr("Open &recipe…"), this, &MainWindow::askOpenRecipe, QKeySequence(tr("Ctrl+R")));
    file->addAction(tr("&Save recipe…"), this, &MainWindow::askSaveRecipe, QKeySequence::Save);
    file->addAction(tr("&Import ROI from parameters file…"), this, &MainWindow::askImportParameters);
    file->addAction(tr("&Export ROI as parameters file…"), this, &MainWindow::askExportParameters,
                    QKeySequence(tr("Ctrl+E")));
    file->addSeparator();
    file->addAction(tr("Save results as &CSV…"), this, [this] {
        const QString path = QFileDialog::getSaveFileName(this, tr("Save results"), "results.csv", tr("CSV (*.csv)"),
                                                          nullptr, QFileDialog::DontUseNativeDialog);
        if (!path.isEmpty())
            results_->saveCsv(path);
    });
    file->addAction(tr("&Copy results"), results_, &ResultsTable::copyToClipboard, QKeySequence(tr("Ctrl+Shift+C")));
    file->addSeparator();
    file->addAction(tr("&Quit"), this, &QWidget::close, QKeySequence::Quit);

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->addAction(tr("&Flip scan direction"), this, &MainWindow::flipDirection, QKeySequence(tr("R")));
    edit->addAction(tr("&Delete ROI"), this, [this] { document_.removeRoi(document_.selectedId()); });
    edit->addAction(tr("Delete &all ROIs"), this, [this] { document_.clearRois(); });

    QMenu* draw = menuBar()->addMenu(tr("&Draw"));
    QToolBar* bar = addToolBar(tr("Draw"));
    bar->setObjectName("drawBar");
    drawGroup_ = new QActionGroup(this);
    editAction_ = draw->addAction(tr("&Select and edit"));
    editAction_->setShortcut(QKeySequence(tr("S")));
    editAction_->setCheckable(true);
    editAction_->setChecked(true);
    drawGroup_->addAction(editAction_);
    bar->addAction(editAction_);
    connect(editAction_, &QAction::triggered, this, [this] { view_->setDrawKind(std::nullopt); });
    int key = 1;
    for (RoiKind kind : allKinds()) {
        // Only shapes some tool measures in.
        if (StudioDocument::toolsFor(kind).empty())
            continue;
        QAction* action = draw->addAction(labelOf(kind));
        action->setObjectName(QString::fromStdString("draw_" + kindName(kind)));
        action->setShortcut(QKeySequence(QString::number(key++)));
        action->setCheckable(true);
        action->setToolTip(kind == RoiKind::Ring || kind == RoiKind::Arc
                               ? tr("Drag from the centre of a circle to its rim")
                           : kind == RoiKind::RotatedRect ? tr("Drag along the scan direction, across the edge")
                                                          : tr("Drag from corner to corner"));
        drawGroup_->addAction(action);
        bar->addAction(action);
        connect(action, &QAction::triggered, this, [this, kind, action] {
            view_->setDrawKind(kind);
            statusBar()->showMessage(action->toolTip(), 10000);
        });
    }

    QMenu* viewMenu = menuBar()->addMenu(tr("&View"));
    QAction* fit = viewMenu->addAction(tr("&Fit to window"), view_, &ImageView::fitToWindow, QKeySequence(tr("F")));
    viewMenu->addAction(tr("&Actual size"), view_, &ImageView::zoomToActualSize, QKeySequence(tr("Ctrl+1")));
    viewMenu->addAction(
        tr("Zoom &in"), this, [this] { view_->zoomAt(view_->rect().center(), 1.25); }, QKeySequence::ZoomIn);
    viewMenu->addAction(
        tr("Zoom &out"), this, [this] { view_->zoomAt(view_->rect().center(), 0.8); }, QKeySequence::ZoomOut);
    viewMenu->addAction(
        tr("&Centre on ROI"), this,
        [this] {
            if (const RoiEntry* roi = document_.roi(document_.selectedId()))
                view_->centreOn(roi->shape.bounds().center());
        },
        QKeySequence(tr("C")));
    viewMenu->addSeparator();
    for (QDockWidget* dock : findChildren<QDockWidget*>())
        viewMenu->addAction(dock->toggleViewAction());
    bar->addSeparator();
    bar->addAction(fit);

    QMenu* measure = menuBar()->addMenu(tr("&Measure"));
    measure->addAction(tr("Run ROIs on a &folder…"), this, &MainWindow::runFolder);

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("&First measurement"), this, [this] {
        QMessageBox::information(
            this, tr("First measurement"),
            tr("1. Open an image (File > Open, or drop it on the window).\n"
               "2. Choose a shape under Draw (Ring for a hole) and drag on the image: for a ring, from the "
               "hole's centre to its rim.\n"
               "3. The edge points, the fitted shape and its values appear at once; the arrow shows the scan "
               "direction (Edit > Flip scan direction, or R).\n"
               "4. Tune the settings on the right; drag the handles; arrow keys nudge by 0.1 px.\n"
               "5. File > Export ROI as parameters file gives what functions-cli run takes; File > Save "
               "recipe writes every ROI as a recipe for functions-cli inspect."));
    });
    help->addAction(tr("&About"), this, [this] {
        QMessageBox::about(this, tr("About functions-studio"),
                           tr("functions-studio: draw ROIs on an image, tune the Functions library's tools live "
                              "and save what you taught for functions-cli."));
    });
}

void MainWindow::updateTitle()
{
    const QString name = document_.hasImage() ? QFileInfo(document_.image()->path).fileName() : tr("no image");
    setWindowTitle(name + " — functions-studio");
    if (!document_.hasImage()) {
        imageLabel_->clear();
        return;
    }
    QString text = QString("%1 × %2").arg(document_.image()->image.cols).arg(document_.image()->image.rows);
    if (folderIndex_ >= 0)
        text += QString("  image %1 of %2").arg(folderIndex_ + 1).arg(folderImages_.size());
    imageLabel_->setText(text);
}

void MainWindow::showCursor(QPointF at, bool inside)
{
    if (!document_.hasImage())
        return;
    QString text = QString("x %1  y %2").arg(at.x(), 0, 'f', 1).arg(at.y(), 0, 'f', 1);
    if (inside)
        text += "  grey " + document_.image()->valueAt(qRound(at.x()), qRound(at.y()));
    text += QString("  zoom %1 %").arg(view_->viewport().scale * 100, 0, 'f', 0);
    cursorLabel_->setText(text);
}

void MainWindow::probeAt(QPointF at)
{
    // The selected ROI first, then the topmost caliper tool's ROI under the point.
    int id = 0;
    const RoiEntry* selected = document_.roi(document_.selectedId());
    if (selected && hasSegmentCalipers(selected->tool) && selected->shape.contains(at, 0))
        id = selected->id;
    const std::vector<RoiEntry>& rois = document_.rois();
    for (auto it = rois.rbegin(); id == 0 && it != rois.rend(); ++it)
        if (hasSegmentCalipers(it->tool) && it->shape.contains(at, 0))
            id = it->id;
    if (id == 0)
        return;
    probeId_ = id;
    probePoint_ = at;
    refreshProbe();
}

void MainWindow::refreshProbe()
{
    const RoiEntry* roi = document_.roi(probeId_);
    std::string why;
    std::optional<CaliperProbe> probe;
    if (roi && document_.hasImage())
        probe = probeCaliper(*roi, document_.image()->image, probePoint_, &why);
    QString title;
    std::vector<QPointF> edges;
    if (probe) {
        title = tr("%1: caliper %2 of %3, %4 px, %5 lines averaged%6")
                    .arg(QString::fromStdString(roi->name))
                    .arg(probe->index + 1)
                    .arg(probe->count)
                    .arg(probe->profile.grey.size())
                    .arg(probe->profile.linesAveraged)
                    .arg(probe->note.empty() ? QString() : tr(" (radial, straightened)"));
        profile_->setToolTip(QString::fromStdString(probe->note));
        for (const frontend::ProfileEdge& edge : probe->profile.edges)
            edges.emplace_back(edge.point.x, edge.point.y);
    }
    view_->setProbeOverlay(probe ? probe->outline() : QPolygonF(), edges);
    profile_->setProbe(std::move(probe), title, QString::fromStdString(why));
}

void MainWindow::updateResults()
{
    std::vector<ResultRow> rows;
    const std::string image = document_.hasImage() ? document_.image()->path.toStdString() : "";
    for (const RoiEntry& entry : document_.rois())
        if (const Measurement* m = document_.measurement(entry.id))
            rows.push_back({image, entry, *m});
    results_->setRows(rows);
}

bool MainWindow::isIdle() const
{
    return !loading_ && !document_.isMeasuring();
}

void MainWindow::reportError(const QString& title, const QString& message)
{
    statusBar()->showMessage(message, 10000);
    if (!quiet_)
        QMessageBox::warning(this, title, message);
}

void MainWindow::openImage(const QString& path)
{
    if (loading_) {
        // The latest wish wins: stepping through a folder quickly skips the images between.
        queuedImage_ = path;
        return;
    }
    loading_ = true;
    statusBar()->showMessage(tr("Loading %1…").arg(path));
    loader_.setFuture(QtConcurrent::run([this, path] {
        SharedImage image = loadImageFile(path);
        const std::lock_guard<std::mutex> lock(loadedMutex_);
        loaded_ = std::move(image);
    }));
}

void MainWindow::imageLoaded()
{
    loading_ = false;
    SharedImage image;
    {
        const std::lock_guard<std::mutex> lock(loadedMutex_);
        image = std::move(loaded_);
    }
    if (!queuedImage_.isEmpty()) {
        const QString next = queuedImage_;
        queuedImage_.clear();
        openImage(next);
        return;
    }
    if (!image->error.isEmpty()) {
        emit loadFailed(image->error);
        reportError(tr("Open image"), image->error);
        return;
    }
    statusBar()->clearMessage();
    document_.setImage(image);
}

void MainWindow::openFolder(const QString& folder)
{
    const QStringList images = imagesInFolder(folder);
    if (images.isEmpty()) {
        reportError(tr("Open folder"), tr("%1: no images (png, bmp, jpg, tif) found").arg(folder));
        return;
    }
    folderImages_ = images;
    folderIndex_ = 0;
    openImage(images.front());
}

void MainWindow::stepImage(int by)
{
    if (folderImages_.isEmpty())
        return;
    folderIndex_ = std::clamp(folderIndex_ + by, 0, static_cast<int>(folderImages_.size()) - 1);
    openImage(folderImages_[folderIndex_]);
    updateTitle();
}

bool MainWindow::openPath(const QString& path, QString* error)
{
    const QFileInfo info(path);
    QString message;
    if (info.isDir()) {
        openFolder(path);
        return true;
    }
    if (isImageFile(path)) {
        folderImages_.clear();
        folderIndex_ = -1;
        openImage(path);
        return true;
    }
    if (info.suffix().toLower() == "json") {
        try {
            // A recipe lists measurements; a parameters file holds one ROI's settings.
            if (frontend::loadJsonObject(path.toStdString(), "recipe or parameters").contains("measurements"))
                openRecipe(path);
            else
                importParameters(path, "");
            return true;
        } catch (const std::exception& e) {
            message = QString::fromStdString(e.what());
        }
    } else {
        message =
            tr("%1: neither an image (png, bmp, jpg, tif), a folder, a recipe nor a parameters file (.json)").arg(path);
    }
    if (error)
        *error = message;
    reportError(tr("Open"), message);
    return false;
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    event->acceptProposedAction();
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            openPath(url.toLocalFile());
}

void MainWindow::flipDirection()
{
    const RoiEntry* roi = document_.roi(document_.selectedId());
    if (!roi || !roi->settings.contains("direction"))
        return;
    document_.setSetting(roi->id, "direction", reversedDirection(roi->settings.at("direction").get<std::string>()));
}

void MainWindow::runFolder()
{
    if (document_.rois().empty()) {
        reportError(tr("Run on a folder"),
                    tr("Draw or import a ROI first: the run measures every ROI in every image."));
        return;
    }
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Run the ROIs on every image of a folder"),
                                                             QString(), QFileDialog::DontUseNativeDialog);
    if (folder.isEmpty())
        return;
    auto* run = new FolderRunDialog(document_.rois(), imagesInFolder(folder), this);
    run->setAttribute(Qt::WA_DeleteOnClose);
    run->show();
}

} // namespace studio
