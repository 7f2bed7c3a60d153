#pragma once

// What the studio's windows show and edit: the image, the ROIs with their tools and
// settings, which one is selected, and their measurements. Every change re-measures on a
// worker thread, one job at a time: changes made while a job runs are gathered into the
// next one, so dragging a handle never queues up stale work and the window never waits.

#include "ImageSource.h"
#include "MeasureSession.h"

#include <QFutureWatcher>
#include <QObject>
#include <QThreadPool>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace studio {

class StudioDocument : public QObject {
    Q_OBJECT
public:
    explicit StudioDocument(QObject* parent = nullptr);
    ~StudioDocument() override;

    void setImage(SharedImage image);
    const SharedImage& image() const { return image_; }
    bool hasImage() const { return image_ && !image_->image.empty(); }

    /// Adds a ROI measured by `tool` (empty: the first tool that takes the shape) with the
    /// tool's defaults, selects it and returns its id.
    int addRoi(const RoiShape& shape, const std::string& tool = "");
    /// Adds a ROI as given (name, tool and settings; its id is replaced); returns the id.
    int addEntry(RoiEntry entry);
    void removeRoi(int id);
    void clearRois();
    void setShape(int id, const RoiShape& shape);
    /// Another tool for the ROI: settings of the same name carry over when the new tool
    /// accepts them, the rest start at its defaults.
    void setTool(int id, const std::string& tool);
    void setSetting(int id, const std::string& name, const json& value);
    void setName(int id, const std::string& name);

    const std::vector<RoiEntry>& rois() const { return rois_; }
    const RoiEntry* roi(int id) const;

    int selectedId() const { return selected_; }
    void select(int id); // 0: none

    /// The latest measurement of a ROI (it may lag a change by one job; see isCurrent).
    const Measurement* measurement(int id) const;
    bool isCurrent(int id) const;
    /// True while measurements are being made or wait to be.
    bool isMeasuring() const { return running_; }

    /// The tools that take a shape of this kind, in tools() order.
    static std::vector<std::string> toolsFor(RoiKind kind);

signals:
    void imageChanged();
    void roisChanged();     // added, removed, renamed, reordered
    void roiEdited(int id); // shape, tool or settings
    void selectionChanged(int id);
    void measured();

private:
    RoiEntry* find(int id);
    void scheduleMeasure();
    void startJob();
    void jobFinished();

    struct Result {
        std::string key;
        Measurement measurement;
    };
    // What a job measures and what it found: written by the window's thread before the
    // job starts, by the job while it runs, read back once it has finished, each under
    // jobMutex_. Jobs never overlap, so the mutex is never waited for; it makes each
    // hand-over a synchronisation the thread sanitizer sees (Qt's pool synchronises
    // through code it cannot see).
    struct Job {
        SharedImage image;
        int generation = 0;
        std::vector<RoiEntry> entries;
        std::vector<std::string> keys;
        std::vector<Measurement> measurements;
    };
    void runJob();

    SharedImage image_;
    int imageGeneration_ = 0;
    std::vector<RoiEntry> rois_;
    int nextId_ = 1;
    int selected_ = 0;
    std::map<int, Result> results_;

    std::mutex jobMutex_;
    Job job_;
    MeasureSession session_;     // the jobs' own, under jobMutex_
    int sessionGeneration_ = -1; // the image generation the session holds
    bool running_ = false;
    bool pending_ = false;
    // A pool of its own: a job must never wait for a thread of Qt's global pool, which
    // the library's region operators borrow (select_shape) while their caller waits.
    QThreadPool pool_;
    QFutureWatcher<void> watcher_;
};

} // namespace studio
