#pragma once

// The studio's window: the image view in the middle, the ROI list and the selected ROI's
// settings on the right, the profile and the results table below; menus for files,
// drawing, the view and folder runs. Images load on a worker thread.

#include "StudioDocument.h"
#include "StudioRecipe.h"

#include <QFutureWatcher>
#include <QMainWindow>

#include <mutex>
#include <optional>

class QAction;
class QActionGroup;
class QLabel;

namespace studio {

class ImageView;
class ProfileView;
class ResultsTable;
class RoiListPanel;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    StudioDocument& document() { return document_; }
    ImageView& imageView() { return *view_; }
    ResultsTable& results() { return *results_; }
    ProfileView& profile() { return *profile_; }

    /// Opens an image file, a folder (its first image), a recipe or a parameters file by what it is;
    /// a refusal is reported (see setQuiet) and `error` receives it.
    bool openPath(const QString& path, QString* error = nullptr);
    void openImage(const QString& path);
    void openFolder(const QString& folder);
    void stepImage(int by);
    /// Adds the ROI of a `run` parameters file measured by `tool` (empty: guessed from the
    /// file's name and the settings it holds). Throws frontend::InputError.
    int importParameters(const QString& path, const std::string& tool);
    /// Writes the selected ROI as a `run` parameters file. Throws frontend::InputError.
    void exportParameters(int id, const QString& path) const;
    /// Replaces the ROIs by a recipe's measurements; those it cannot draw are listed and
    /// kept. Throws frontend::InputError (the file and the JSON path of the fault).
    void openRecipe(const QString& path);
    /// Writes every ROI as a measurement of a recipe, with what an opened recipe holds
    /// beside them, once it validates. Throws frontend::InputError.
    void saveRecipe(const QString& path);

    /// The profile of the caliper under an image point, if a caliper tool's ROI is there;
    /// elsewhere the last one stays, so that settings can be tuned while it shows.
    void probeAt(QPointF at);

    /// Errors go to the status bar only, never to a message box (unattended runs).
    void setQuiet(bool quiet) { quiet_ = quiet; }

    /// Nothing loading, nothing being measured.
    bool isIdle() const;

signals:
    /// An image could not be read; `message` names the file and why.
    void loadFailed(const QString& message);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void buildMenus();
    void buildDocks();
    void imageLoaded();
    void showCursor(QPointF at, bool inside);
    void refreshProbe();
    void updateTitle();
    void updateResults();
    void flipDirection();
    void runFolder();
    void askImportParameters();
    void askExportParameters();
    void askOpenRecipe();
    void askSaveRecipe();
    void reportError(const QString& title, const QString& message);

    StudioDocument document_;
    ImageView* view_;
    ResultsTable* results_;
    ProfileView* profile_;
    RoiListPanel* roiList_ = nullptr;
    // The recipe last opened or saved: what the studio does not edit is saved from it.
    std::optional<RecipeOrigin> recipe_;
    QString recipePath_;
    int probeId_ = 0;
    QPointF probePoint_;
    QLabel* cursorLabel_;
    QLabel* imageLabel_;
    QActionGroup* drawGroup_ = nullptr;
    QAction* editAction_ = nullptr;

    QStringList folderImages_;
    int folderIndex_ = -1;
    QFutureWatcher<void> loader_;
    // The image a load made, handed from its worker to the window under the mutex (which
    // the thread sanitizer sees, unlike Qt's pool).
    std::mutex loadedMutex_;
    SharedImage loaded_;
    bool loading_ = false;
    bool quiet_ = false;
    QString queuedImage_; // asked for while another one loads
};

} // namespace studio
