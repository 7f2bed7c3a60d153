#include "FolderRun.h"

#include "ImageSource.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace studio {

namespace {

// Qt 5's mapped() reads the result type from the functor.
struct MeasureImage {
    using result_type = std::vector<ResultRow>;
    std::vector<RoiEntry> rois;
    result_type operator()(const QString& path) const { return measureImageFile(path, rois); }
};

} // namespace

std::vector<ResultRow> measureImageFile(const QString& path, const std::vector<RoiEntry>& rois)
{
    const SharedImage image = loadImageFile(path);
    std::vector<ResultRow> rows;
    if (!image->error.isEmpty()) {
        Measurement refused;
        refused.error = image->error.toStdString();
        rows.push_back({path.toStdString(), RoiEntry(), refused});
        return rows;
    }
    MeasureSession session;
    session.setImage(image->image, path.toStdString());
    session.setEntries(rois);
    session.remeasure();
    for (size_t i = 0; i < rois.size(); ++i)
        rows.push_back({path.toStdString(), rois[i], session.measurements()[i]});
    return rows;
}

FolderRunDialog::FolderRunDialog(const std::vector<RoiEntry>& rois, const QStringList& images, QWidget* parent)
    : QDialog(parent), images_(images)
{
    setWindowTitle(tr("ROIs on a folder"));
    auto* layout = new QVBoxLayout(this);
    progress_ = new QProgressBar;
    progress_->setRange(0, static_cast<int>(images.size()));
    layout->addWidget(progress_);
    table_ = new ResultsTable;
    layout->addWidget(table_, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel | QDialogButtonBox::Close);
    layout->addWidget(buttons);
    connect(buttons->button(QDialogButtonBox::Cancel), &QPushButton::clicked, &watcher_,
            &QFutureWatcher<std::vector<ResultRow>>::cancel);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(&watcher_, &QFutureWatcher<std::vector<ResultRow>>::progressValueChanged, progress_,
            &QProgressBar::setValue);
    connect(&watcher_, &QFutureWatcher<std::vector<ResultRow>>::resultsReadyAt, this, &FolderRunDialog::collect);
    connect(&watcher_, &QFutureWatcher<std::vector<ResultRow>>::finished, this, &FolderRunDialog::collect);
    resize(1000, 600);
    table_->setCaption(tr("%1 images").arg(images.size()));
    // Each image on Qt's pool; the results come back in the folder's order.
    watcher_.setFuture(QtConcurrent::mapped(images_, MeasureImage{rois}));
}

FolderRunDialog::~FolderRunDialog()
{
    watcher_.cancel();
    watcher_.waitForFinished();
}

void FolderRunDialog::collect()
{
    std::vector<ResultRow> rows;
    int done = 0, failed = 0;
    for (int i = 0; i < images_.size(); ++i) {
        if (!watcher_.future().isResultReadyAt(i))
            continue;
        ++done;
        for (const ResultRow& row : watcher_.resultAt(i)) {
            failed += row.measurement.success ? 0 : 1;
            rows.push_back(row);
        }
    }
    table_->setRows(rows);
    table_->setCaption(
        tr("%1 of %2 images, %3 ROI results failed%4")
            .arg(done)
            .arg(images_.size())
            .arg(failed)
            .arg(watcher_.isFinished() ? (watcher_.isCanceled() ? tr(" (cancelled)") : QString()) : tr(" …")));
}

} // namespace studio
