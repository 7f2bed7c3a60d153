#pragma once

// Every ROI measured in every image of a folder, on worker threads while the window goes
// on; the rows fill a results table as images finish.

#include "ResultsTable.h"

#include <QDialog>
#include <QFutureWatcher>

class QProgressBar;

namespace studio {

/// The rows of one image: each ROI measured on it, or one row saying why the image could
/// not be read.
std::vector<ResultRow> measureImageFile(const QString& path, const std::vector<RoiEntry>& rois);

class FolderRunDialog : public QDialog {
    Q_OBJECT
public:
    FolderRunDialog(const std::vector<RoiEntry>& rois, const QStringList& images, QWidget* parent = nullptr);
    ~FolderRunDialog() override;

    bool isFinished() const { return watcher_.isFinished(); }
    const ResultsTable& results() const { return *table_; }

private:
    void collect();

    QStringList images_;
    QFutureWatcher<std::vector<ResultRow>> watcher_;
    QProgressBar* progress_;
    ResultsTable* table_;
};

} // namespace studio
