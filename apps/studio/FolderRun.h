#pragma once

// Every ROI measured in every image of a folder, on worker threads while the window goes
// on; the rows fill a results table as images finish.

#include "ResultsTable.h"

#include <QDialog>
#include <QThreadPool>

#include <atomic>
#include <mutex>
#include <optional>

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

    const ResultsTable& results() const { return *table_; }

private:
    void work();
    void collect();
    bool isFinished() const { return running_ == 0; }

    // What the workers read and write, under mutex_: the thread sanitizer sees it hand
    // work and rows between threads, which Qt's pool does out of its sight.
    std::mutex mutex_;
    QStringList images_;
    std::vector<RoiEntry> rois_;
    std::vector<std::optional<std::vector<ResultRow>>> rows_; // per image, once measured

    std::atomic<int> next_{0};     // the next image a worker takes
    std::atomic<int> running_{0};  // workers still at work
    std::atomic<bool> cancelled_{false};
    // Workers on a pool of their own: the library's region operators borrow threads of
    // Qt's global pool while their caller waits, so callers must not occupy all of them.
    QThreadPool pool_;
    QProgressBar* progress_;
    ResultsTable* table_;
};

} // namespace studio
