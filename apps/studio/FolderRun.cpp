#include "FolderRun.h"

#include "ImageSource.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <QThread>
#include <QtConcurrent>

namespace studio {

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
    : QDialog(parent)
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
    connect(buttons->button(QDialogButtonBox::Cancel), &QPushButton::clicked, this, [this] { cancelled_ = true; });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    resize(1000, 600);
    table_->setCaption(tr("%1 images").arg(images.size()));
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        images_ = images;
        rois_ = rois;
        rows_.assign(images.size(), std::nullopt);
    }
    // Workers take the images in turn; the table keeps the folder's order.
    const int workers = std::max(1, std::min(QThread::idealThreadCount(), static_cast<int>(images.size())));
    pool_.setMaxThreadCount(workers);
    running_ = workers;
    for (int k = 0; k < workers; ++k)
        QtConcurrent::run(&pool_, [this] { work(); });
}

FolderRunDialog::~FolderRunDialog()
{
    cancelled_ = true;
    pool_.waitForDone();
}

void FolderRunDialog::work()
{
    const int count = static_cast<int>(rows_.size());
    for (int index = next_++; index < count && !cancelled_; index = next_++) {
        QString path;
        std::vector<RoiEntry> rois;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            path = images_[index];
            rois = rois_;
        }
        std::vector<ResultRow> rows = measureImageFile(path, rois);
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            rows_[index] = std::move(rows);
        }
        QMetaObject::invokeMethod(this, [this] { collect(); }, Qt::QueuedConnection);
    }
    if (--running_ == 0)
        QMetaObject::invokeMethod(this, [this] { collect(); }, Qt::QueuedConnection);
}

void FolderRunDialog::collect()
{
    std::vector<ResultRow> rows;
    int done = 0, failed = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const std::optional<std::vector<ResultRow>>& image : rows_) {
            if (!image)
                continue;
            ++done;
            for (const ResultRow& row : *image) {
                failed += row.measurement.success ? 0 : 1;
                rows.push_back(row);
            }
        }
    }
    progress_->setValue(done);
    table_->setRows(rows);
    table_->setCaption(tr("%1 of %2 images, %3 ROI results failed%4")
                           .arg(done)
                           .arg(progress_->maximum())
                           .arg(failed)
                           .arg(!isFinished() ? tr(" …") : cancelled_ ? tr(" (cancelled)") : QString()));
}

} // namespace studio
