#include "StudioDocument.h"

#include <QtConcurrent>

#include <algorithm>

namespace studio {

StudioDocument::StudioDocument(QObject* parent) : QObject(parent)
{
    pool_.setMaxThreadCount(1); // one job at a time
    connect(&watcher_, &QFutureWatcher<void>::finished, this, &StudioDocument::jobFinished);
}

StudioDocument::~StudioDocument()
{
    // The job holds the session; it must end before the session does.
    watcher_.waitForFinished();
}

std::vector<std::string> StudioDocument::toolsFor(RoiKind kind)
{
    std::vector<std::string> names;
    for (const frontend::ToolDefinition& tool : frontend::tools())
        if (std::find(tool.roiKinds.begin(), tool.roiKinds.end(), kindName(kind)) != tool.roiKinds.end())
            names.push_back(tool.name);
    return names;
}

void StudioDocument::setImage(SharedImage image)
{
    image_ = std::move(image);
    ++imageGeneration_;
    results_.clear();
    emit imageChanged();
    scheduleMeasure();
}

RoiEntry* StudioDocument::find(int id)
{
    for (RoiEntry& entry : rois_)
        if (entry.id == id)
            return &entry;
    return nullptr;
}

const RoiEntry* StudioDocument::roi(int id) const
{
    return const_cast<StudioDocument*>(this)->find(id);
}

int StudioDocument::addRoi(const RoiShape& shape, const std::string& tool)
{
    RoiEntry entry;
    entry.shape = shape;
    entry.tool = tool;
    if (entry.tool.empty()) {
        // A tool made for this shape first (the circle tool for a ring, the arc tool for
        // an arc), else any that takes it.
        const std::vector<std::string> candidates = toolsFor(shape.kind);
        for (const std::string& name : candidates)
            if (entry.tool.empty() && frontend::findTool(name).roiKinds.front() == kindName(shape.kind))
                entry.tool = name;
        if (entry.tool.empty() && !candidates.empty())
            entry.tool = candidates.front();
    }
    entry.settings = entry.tool.empty() ? json::object() : defaultSettings(frontend::findTool(entry.tool));
    return addEntry(std::move(entry));
}

int StudioDocument::addEntry(RoiEntry entry)
{
    entry.id = nextId_++;
    if (entry.name.empty())
        entry.name = (entry.tool.empty() ? kindName(entry.shape.kind) : entry.tool) + "_" + std::to_string(entry.id);
    rois_.push_back(std::move(entry));
    const int id = rois_.back().id;
    emit roisChanged();
    select(id);
    scheduleMeasure();
    return id;
}

void StudioDocument::removeRoi(int id)
{
    const auto at = std::find_if(rois_.begin(), rois_.end(), [id](const RoiEntry& e) { return e.id == id; });
    if (at == rois_.end())
        return;
    rois_.erase(at);
    results_.erase(id);
    if (selected_ == id)
        select(0);
    emit roisChanged();
    scheduleMeasure();
}

void StudioDocument::clearRois()
{
    rois_.clear();
    results_.clear();
    select(0);
    emit roisChanged();
}

void StudioDocument::setShape(int id, const RoiShape& shape)
{
    if (RoiEntry* entry = find(id)) {
        entry->shape = shape;
        emit roiEdited(id);
        scheduleMeasure();
    }
}

void StudioDocument::setTool(int id, const std::string& tool)
{
    RoiEntry* entry = find(id);
    if (!entry || entry->tool == tool)
        return;
    const frontend::ToolDefinition& definition = frontend::findTool(tool);
    json settings = defaultSettings(definition);
    for (const frontend::ParamDefinition& param : definition.params) {
        if (!entry->settings.contains(param.name))
            continue;
        // Kept only where the new tool takes the value (its range may be narrower).
        json trial = settings;
        trial[param.name] = entry->settings.at(param.name);
        try {
            settings = frontend::validatedSettings(definition, trial, entry->name);
        } catch (const frontend::InputError&) {
            // Out of the new tool's range: its default stays.
        }
    }
    entry->tool = tool;
    entry->settings = settings;
    emit roiEdited(id);
    scheduleMeasure();
}

void StudioDocument::setSetting(int id, const std::string& name, const json& value)
{
    RoiEntry* entry = find(id);
    if (!entry || (entry->settings.contains(name) && entry->settings.at(name) == value))
        return;
    entry->settings[name] = value;
    emit roiEdited(id);
    scheduleMeasure();
}

void StudioDocument::setName(int id, const std::string& name)
{
    RoiEntry* entry = find(id);
    if (!entry || entry->name == name)
        return;
    entry->name = name;
    emit roisChanged();
    scheduleMeasure(); // the name appears in the messages of refused input
}

void StudioDocument::select(int id)
{
    if (id != 0 && !find(id))
        id = 0;
    if (id == selected_)
        return;
    selected_ = id;
    emit selectionChanged(id);
}

const Measurement* StudioDocument::measurement(int id) const
{
    const auto found = results_.find(id);
    return found == results_.end() ? nullptr : &found->second.measurement;
}

bool StudioDocument::isCurrent(int id) const
{
    const auto found = results_.find(id);
    const RoiEntry* entry = roi(id);
    return entry && found != results_.end() && found->second.key == entry->key();
}

void StudioDocument::scheduleMeasure()
{
    if (!hasImage())
        return;
    if (running_) {
        pending_ = true;
        return;
    }
    startJob();
}

void StudioDocument::startJob()
{
    running_ = true;
    pending_ = false;
    {
        const std::lock_guard<std::mutex> lock(jobMutex_);
        job_.image = image_;
        job_.generation = imageGeneration_;
        job_.entries = rois_;
    }
    watcher_.setFuture(QtConcurrent::run(&pool_, [this] {
        const std::lock_guard<std::mutex> lock(jobMutex_);
        runJob();
    }));
}

void StudioDocument::runJob()
{
    if (sessionGeneration_ != job_.generation) {
        session_.setImage(job_.image->image, job_.image->path.toStdString());
        sessionGeneration_ = job_.generation;
    }
    session_.setEntries(job_.entries);
    session_.remeasure();
    job_.keys.clear();
    for (const RoiEntry& entry : job_.entries)
        job_.keys.push_back(entry.key());
    job_.measurements = session_.measurements();
}

void StudioDocument::jobFinished()
{
    running_ = false;
    {
        const std::lock_guard<std::mutex> lock(jobMutex_);
        // Measurements of an image replaced meanwhile are dropped; the next job measures anew.
        for (size_t i = 0; i < job_.entries.size(); ++i)
            if (job_.generation == imageGeneration_ && find(job_.entries[i].id))
                results_[job_.entries[i].id] = {job_.keys[i], job_.measurements[i]};
    }
    if (pending_)
        startJob();
    emit measured();
}

} // namespace studio
