// The window's files: ROIs in and out as `run` parameters files and as recipes.

#include "MainWindow.h"

#include "RoiListPanel.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMessageBox>
#include <QSaveFile>
#include <QStatusBar>

namespace studio {

namespace {

// The tools that could have written a parameters file: they take its ROI's shape and
// know every setting it holds.
std::vector<std::string> toolsTaking(const json& parameters, RoiKind kind)
{
    std::vector<std::string> names;
    for (const std::string& name : StudioDocument::toolsFor(kind)) {
        json settings = parameters;
        settings.erase("roi");
        try {
            frontend::validatedSettings(frontend::findTool(name), settings, "");
            names.push_back(name);
        } catch (const frontend::InputError&) {
            // Not this tool's settings.
        }
    }
    return names;
}

} // namespace

int MainWindow::importParameters(const QString& path, const std::string& toolName)
{
    const std::string source = path.toStdString();
    json parameters = frontend::loadParameters(source);
    if (!parameters.contains("roi"))
        throw frontend::InputError(source + ": missing 'roi': a parameters file holds a ROI and a tool's settings");
    RoiEntry entry;
    entry.shape = RoiShape::fromJson(parameters.at("roi"), source);
    entry.tool = toolName;
    if (entry.tool.empty()) {
        // The file does not name its tool (the command line gives it): a file named after
        // a tool (circle.json, arc_boss.json) is that tool's, else the only one that fits.
        const std::vector<std::string> candidates = toolsTaking(parameters, entry.shape.kind);
        const std::string base = QFileInfo(path).completeBaseName().toStdString();
        for (const std::string& name : candidates)
            if (base.rfind(name, 0) == 0 && (entry.tool.empty() || name.size() > entry.tool.size()))
                entry.tool = name;
        if (entry.tool.empty() && candidates.size() == 1)
            entry.tool = candidates.front();
        if (entry.tool.empty())
            throw frontend::InputError(source + ": " +
                                       (candidates.empty()
                                            ? "no tool takes this ROI with these settings"
                                            : "tools " + frontend::joined(candidates) + " all take it: name one"));
    }
    parameters.erase("roi");
    entry.settings = frontend::validatedSettings(frontend::findTool(entry.tool), parameters, source);
    entry.name = QFileInfo(path).completeBaseName().toStdString();
    return document_.addEntry(entry);
}

void MainWindow::exportParameters(int id, const QString& path) const
{
    const RoiEntry* entry = document_.roi(id);
    if (!entry)
        throw frontend::InputError("no ROI selected");
    QSaveFile file(path);
    const QByteArray text = QByteArray::fromStdString(entry->parameters().dump(2) + "\n");
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        throw frontend::InputError(path.toStdString() + ": cannot write: " + file.errorString().toStdString());
}

void MainWindow::askImportParameters()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Import ROI from parameters file"), QString(), tr("Parameters (*.json)"),
                                     nullptr, QFileDialog::DontUseNativeDialog);
    if (path.isEmpty())
        return;
    try {
        importParameters(path, "");
    } catch (const frontend::InputError& e) {
        // Ambiguous or unknown: the user names the tool.
        QStringList names;
        for (const frontend::ToolDefinition& tool : frontend::tools())
            names << QString::fromStdString(tool.name);
        bool chosen = false;
        const QString tool = QInputDialog::getItem(this, tr("Import ROI"),
                                                   QString::fromStdString(e.what()) + "\n\n" + tr("Measure it with:"),
                                                   names, 0, false, &chosen);
        if (!chosen)
            return;
        try {
            importParameters(path, tool.toStdString());
        } catch (const frontend::InputError& again) {
            reportError(tr("Import ROI"), QString::fromStdString(again.what()));
        }
    }
}

void MainWindow::askExportParameters()
{
    const RoiEntry* entry = document_.roi(document_.selectedId());
    if (!entry) {
        reportError(tr("Export ROI"), tr("Select a ROI first"));
        return;
    }
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Export ROI as parameters file"), QString::fromStdString(entry->tool + ".json"),
        tr("Parameters (*.json)"), nullptr, QFileDialog::DontUseNativeDialog);
    if (path.isEmpty())
        return;
    try {
        exportParameters(entry->id, path);
        statusBar()->showMessage(tr("Wrote %1: functions-cli run --tool %2 --params %1 --image IMAGE")
                                     .arg(path, QString::fromStdString(entry->tool)),
                                 15000);
    } catch (const frontend::InputError& e) {
        reportError(tr("Export ROI"), QString::fromStdString(e.what()));
    }
}

void MainWindow::openRecipe(const QString& path)
{
    const std::string source = path.toStdString();
    RecipeOrigin origin;
    origin.recipe = frontend::loadRecipe(source);
    // Read whole before the ROIs go, so a fault leaves the document as it was.
    std::vector<std::pair<size_t, RoiEntry>> entries;
    for (size_t i = 0; i < origin.recipe.measurements.size(); ++i) {
        const frontend::RecipeMeasurement& m = origin.recipe.measurements[i];
        const std::string reason = undrawableReason(m);
        if (reason.empty())
            entries.emplace_back(i, recipeEntry(m, source + ": " + m.name));
        else
            origin.held.push_back({i, m.name, m.tool, reason});
    }
    document_.clearRois();
    for (auto& [index, entry] : entries)
        origin.drawn[document_.addEntry(std::move(entry))] = index;
    recipe_ = std::move(origin);
    recipePath_ = path;
    roiList_->setHeld(recipe_->held);
    statusBar()->showMessage(tr("Opened recipe %1: %2 ROIs, %3 kept undrawn")
                                 .arg(path)
                                 .arg(entries.size())
                                 .arg(recipe_->held.size()),
                             10000);
}

void MainWindow::saveRecipe(const QString& path)
{
    std::map<int, std::string> renamed;
    RecipeOrigin saved = recipeOfRois(document_.rois(), recipe_ ? &*recipe_ : nullptr, renamed);
    for (const auto& [id, name] : renamed)
        document_.setName(id, name);
    const std::string target = path.toStdString();
    frontend::validateRecipe(saved.recipe, target);
    frontend::saveRecipe(saved.recipe, target);
    recipe_ = std::move(saved);
    recipePath_ = path;
}

void MainWindow::askOpenRecipe()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Open recipe"), QString(), tr("Recipes (*.json)"),
                                                      nullptr, QFileDialog::DontUseNativeDialog);
    if (path.isEmpty())
        return;
    try {
        openRecipe(path);
    } catch (const frontend::InputError& e) {
        reportError(tr("Open recipe"), QString::fromStdString(e.what()));
    }
}

void MainWindow::askSaveRecipe()
{
    const QString path =
        QFileDialog::getSaveFileName(this, tr("Save recipe"), recipePath_.isEmpty() ? "recipe.json" : recipePath_,
                                     tr("Recipes (*.json)"), nullptr, QFileDialog::DontUseNativeDialog);
    if (path.isEmpty())
        return;
    try {
        saveRecipe(path);
        statusBar()->showMessage(tr("Wrote %1: functions-cli inspect --recipe %1 --images IMAGES").arg(path), 15000);
    } catch (const frontend::InputError& e) {
        reportError(tr("Save recipe"), QString::fromStdString(e.what()));
    }
}

} // namespace studio
