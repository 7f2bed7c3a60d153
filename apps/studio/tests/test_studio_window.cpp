// The studio driven as a user drives it (mouse, panel, menus) on the demo scene, checked
// against direct library calls and against the command-line tool.

#include "DemoScene.h"
#include "FolderRun.h"
#include "ImageView.h"
#include "MainWindow.h"
#include "ProfileView.h"
#include "Readable.h"
#include "Recipe.h"
#include "ResultText.h"
#include "ResultsTable.h"

#include <Functions.h>

#include <opencv2/imgcodecs.hpp>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QMenuBar>
#include <QMimeData>
#include <QProcess>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <cmath>

using namespace studio;

class StudioWindowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void drawnRingMeasuresWhatTheLibraryMeasures();
    void savedRoisRunUnchangedInTheCommandLineTool();
    void savedRecipeInspectsAsTheStudioMeasures();
    void openedRecipeSavesBackWhatTheStudioLeftAlone();
    void everyMenuAndEveryToolRunsOnTheDemoScene();
    void folderRunMeasuresEveryImageAsTheWindowDoes();
    void screenshotOptionRendersTheMeasuredWindow();

private:
    /// The demo scene in a shown window; with the examples, one ROI per tool as they teach it.
    void openScene(MainWindow& window, bool withExamples = false);
    void waitIdle(MainWindow& window);
    QPoint widgetPoint(MainWindow& window, QPointF image);
    json runCli(const QStringList& arguments);

    QTemporaryDir dir_;
    QString scene_;
    demo::Disc hole_; // the scene's bored hole
};

void StudioWindowTest::initTestCase()
{
    QVERIFY(dir_.isValid());
    const demo::SceneImage scene = demo::renderDemoScene();
    scene_ = dir_.filePath("scene.png");
    QVERIFY(cv::imwrite(scene_.toStdString(), scene.grey));
    hole_ = scene.truth.hole;
}

void StudioWindowTest::waitIdle(MainWindow& window)
{
    QTRY_VERIFY_WITH_TIMEOUT(window.isIdle(), 30000);
    for (const RoiEntry& roi : window.document().rois())
        QVERIFY(window.document().isCurrent(roi.id));
}

void StudioWindowTest::openScene(MainWindow& window, bool withExamples)
{
    window.resize(1300, 900);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.openImage(scene_);
    QTRY_VERIFY_WITH_TIMEOUT(window.document().hasImage() && window.isIdle(), 30000);
    if (!withExamples)
        return;
    const QDir examples(FUNCTIONS_EXAMPLES_DIR);
    for (const QString& file : examples.entryList({"*.json"}, QDir::Files, QDir::Name))
        window.importParameters(examples.filePath(file), QFileInfo(file).completeBaseName().toStdString());
    QCOMPARE(window.document().rois().size(), frontend::tools().size());
}

// A move with the left button held, as a real drag sends it.
void dragTo(QWidget* widget, QPoint to)
{
    QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(widget, &move);
}

QPoint StudioWindowTest::widgetPoint(MainWindow& window, QPointF image)
{
    return window.imageView().viewport().toWidget(image).toPoint();
}

void StudioWindowTest::drawnRingMeasuresWhatTheLibraryMeasures()
{
    MainWindow window;
    openScene(window);
    ImageView& view = window.imageView();
    view.zoomAt(QPointF(0, 0), 1.0); // the view as fitted
    const QPointF hole(hole_.centre.x, hole_.centre.y);
    const double rim = hole_.radius;

    // Draw: the ring tool, a drag from the hole's centre to its rim.
    window.findChild<QAction*>("draw_ring")->trigger();
    QTest::mousePress(&view, Qt::LeftButton, {}, widgetPoint(window, hole));
    dragTo(&view, widgetPoint(window, hole + QPointF(rim / 2, 0)));
    dragTo(&view, widgetPoint(window, hole + QPointF(rim, 0)));
    QTest::mouseRelease(&view, Qt::LeftButton, {}, widgetPoint(window, hole + QPointF(rim, 0)));
    QCOMPARE(window.document().rois().size(), size_t(1));
    const int id = window.document().rois().front().id;
    QCOMPARE(window.document().rois().front().tool, std::string("circle"));
    QVERIFY(!view.drawKind());

    // Drag the outer radius handle 12 screen px further out.
    RoiShape drawn = window.document().roi(id)->shape;
    Handle outer{HandleRole::Radius2, {}};
    for (const Handle& h : drawn.handles(0))
        if (h.role == HandleRole::Radius2)
            outer = h;
    const QPoint grabbed = widgetPoint(window, outer.position);
    QTest::mousePress(&view, Qt::LeftButton, {}, grabbed);
    dragTo(&view, grabbed + QPoint(6, 0));
    dragTo(&view, grabbed + QPoint(12, 0));
    QTest::mouseRelease(&view, Qt::LeftButton, {}, grabbed + QPoint(12, 0));
    const RoiShape dragged = window.document().roi(id)->shape;
    QVERIFY(dragged.radius2 > drawn.radius2 + 5);
    QCOMPARE(dragged.radius1, drawn.radius1);

    // Tune in the panel: a stricter threshold and rising edges only.
    window.findChild<QSpinBox*>("percent")->setValue(60);
    window.findChild<QComboBox*>("transition")->setCurrentText("DarkToLight");
    waitIdle(window);

    const RoiEntry& entry = *window.document().roi(id);
    QCOMPARE(entry.settings.at("percent").get<int>(), 60);
    const Measurement& shown = *window.document().measurement(id);
    QVERIFY(shown.success);

    // The same ROI and settings straight into the library.
    RingROI ring(dragged.centre.x(), dragged.centre.y(), static_cast<float>(dragged.radius1),
                 static_cast<float>(dragged.radius2));
    _CircleDetParam param;
    param.direction = LeftToRight;
    param.transition = DarkToLight;
    param.percent = 60;
    param.sigma = 2;
    param.minStrength = 10;
    param.segmentWidth = 3;
    param.segmentStep = 2;
    param.roi = &ring;
    cv::Mat image = window.document().image()->image;
    QVERIFY(clcCirclePointsAndFit(image, param, 0, true, 0, -1.0));
    QCOMPARE(shown.outputs.at("radius").get<double>(), param.radius);
    QCOMPARE(shown.outputs.at("centre")[0].get<double>(), param.centre.x);
    QCOMPARE(shown.outputs.at("centre")[1].get<double>(), param.centre.y);
    QCOMPARE(shown.outputs.at("edgePoints").size(), param.edgePoints.size());
    QVERIFY(std::abs(param.radius - rim) < 0.5); // the hole, not another edge

    // The mouse over the band: the profile of the caliper there, with the tuned settings,
    // its first edge on the circle.
    const QPoint over = widgetPoint(window, hole + QPointF(0, rim));
    QMouseEvent hover(QEvent::MouseMove, over, view.mapToGlobal(over), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&view, &hover);
    const std::optional<CaliperProbe>& probe = window.profile().probe();
    QVERIFY(probe && !probe->profile.edges.empty());
    QCOMPARE(probe->settings.percent, 60.0);
    QCOMPARE(probe->settings.transition, DarkToLight);
    const cv::Point2d edge = probe->profile.edges.front().point;
    QVERIFY(std::abs(cv::norm(edge - param.centre) - param.radius) < 0.5);

    // And the list beside the image shows that diameter.
    auto* list = window.findChild<QTableWidget*>("roiList");
    QVERIFY(list->item(0, 2)->text().contains("Ø " + QString::number(2 * param.radius, 'f', 3)));
}

json StudioWindowTest::runCli(const QStringList& arguments)
{
    QProcess cli;
    cli.start(FUNCTIONS_CLI, arguments);
    if (!cli.waitForFinished(60000) || cli.exitCode() != 0) {
        qWarning() << "functions-cli" << arguments << "failed:" << cli.readAllStandardError();
        return json();
    }
    return json::parse(cli.readAllStandardOutput().toStdString());
}

void StudioWindowTest::savedRoisRunUnchangedInTheCommandLineTool()
{
    MainWindow window;
    openScene(window, true);
    // Every ROI moved in the studio, so that the saved numbers are the studio's own.
    for (const RoiEntry& roi : std::vector<RoiEntry>(window.document().rois())) {
        RoiShape shape = roi.shape;
        shape.translate(QPointF(0.3, -0.2));
        window.document().setShape(roi.id, shape);
    }
    waitIdle(window);

    for (const RoiEntry& roi : window.document().rois()) {
        const QString params = dir_.filePath(QString::fromStdString(roi.name) + "-saved.json");
        window.exportParameters(roi.id, params);
        const json record =
            runCli({"run", "--image", scene_, "--tool", QString::fromStdString(roi.tool), "--params", params});
        QVERIFY2(record.is_object(), roi.name.c_str());
        // Every digit the command-line tool writes, the same trust in them and the same
        // verdict: the studio's exact record, rounded as the tool writes it.
        const Measurement& shown = *window.document().measurement(roi.id);
        json written = {{"outputs", shown.outputs}, {"diagnostics", shown.diagnostics}};
        if (!shown.quality.is_null())
            written["quality"] = shown.quality;
        written = frontend::readableRecord(written, false);
        QCOMPARE(QString::fromStdString(record.at("outputs").dump()), QString::fromStdString(written["outputs"].dump()));
        QCOMPARE(QString::fromStdString(record.value("quality", json()).dump()),
                 QString::fromStdString(written.value("quality", json()).dump()));
        QCOMPARE(QString::fromStdString(record.value("diagnostics", json::object()).dump()),
                 QString::fromStdString(written["diagnostics"].dump()));
        QCOMPARE(record.at("success").get<bool>(), shown.success);
    }
}

void StudioWindowTest::savedRecipeInspectsAsTheStudioMeasures()
{
    MainWindow window;
    openScene(window, true);
    const std::vector<RoiEntry> rois = window.document().rois();
    for (const RoiEntry& roi : rois) {
        RoiShape shape = roi.shape;
        shape.translate(QPointF(-0.4, 0.7));
        window.document().setShape(roi.id, shape);
    }
    // Names a recipe cannot refer to: one with a '.', one taken twice.
    window.document().setName(rois[0].id, "plate.top");
    window.document().setName(rois[1].id, rois[2].name);
    waitIdle(window);

    const QString recipe = dir_.filePath("taught.json");
    window.saveRecipe(recipe);
    QCOMPARE(window.document().roi(rois[0].id)->name, std::string("plate_top"));
    QVERIFY(window.document().roi(rois[1].id)->name != window.document().roi(rois[2].id)->name);

    QTemporaryDir out;
    QProcess cli;
    cli.start(FUNCTIONS_CLI, {"inspect", "--recipe", recipe, "--images", scene_, "--out", out.path()});
    QVERIFY(cli.waitForFinished(60000));
    QVERIFY2(cli.exitCode() == 0, cli.readAllStandardError().constData());
    QFile lines(out.filePath("results.jsonl"));
    QVERIFY(lines.open(QIODevice::ReadOnly));
    const json measured = json::parse(lines.readLine().toStdString()).at("measurements");
    QCOMPARE(measured.size(), rois.size());
    for (const RoiEntry& roi : window.document().rois()) {
        const json& record = measured.at(roi.name);
        const Measurement& shown = *window.document().measurement(roi.id);
        QVERIFY2(shown.success, roi.name.c_str());
        QCOMPARE(record.at("success").get<bool>(), true);
        // inspect leaves the edge points to its overlay and writes every other output
        // unrounded: each is the studio's to the last bit.
        json outputs = shown.outputs;
        outputs.erase("edgePoints");
        QCOMPARE(QString::fromStdString(record.at("outputs").dump()), QString::fromStdString(outputs.dump()));
    }
}

void StudioWindowTest::openedRecipeSavesBackWhatTheStudioLeftAlone()
{
    MainWindow window;
    window.setQuiet(true);
    const QString plate = QDir(FUNCTIONS_EXAMPLES_DIR).filePath("recipes/plate.json");
    // The example, and the example with a ring placed around the hole as found, which the
    // studio cannot draw.
    json withRim = frontend::loadJsonObject(plate.toStdString(), "recipe");
    withRim["measurements"].push_back({{"name", "rim"},
                                       {"tool", "circle"},
                                       {"roi", {{"type", "ring"}, {"centre", "hole.centre"}, {"radius1", 120}, {"radius2", 160}}},
                                       {"params", json::object()}});
    const QString rim = dir_.filePath("plate-rim.json");
    frontend::writeWholeFile(rim.toStdString(), withRim.dump(2));

    for (const QString& path : {plate, rim}) {
        QString error;
        QVERIFY2(window.openPath(path, &error), qPrintable(error));
        const json original = frontend::recipeJson(frontend::loadRecipe(path.toStdString()));
        const size_t count = original.at("measurements").size();
        QCOMPARE(window.document().rois().size(), size_t(7));
        const QString saved = dir_.filePath("saved.json");
        window.saveRecipe(saved);
        QCOMPARE(frontend::recipeJson(frontend::loadRecipe(saved.toStdString())), original);
        if (count == 7)
            continue;
        auto* list = window.findChild<QTableWidget*>("roiList");
        QCOMPARE(list->rowCount(), 8);
        QCOMPARE(list->item(7, 0)->text(), QString("rim"));
        QVERIFY(list->item(7, 2)->text().contains("not drawable") && list->item(7, 2)->text().contains("hole.centre"));

        // The hole moved: only its ROI changes; the ring placed from it stays as it was.
        const RoiEntry& hole = window.document().rois()[4];
        RoiShape moved = hole.shape;
        moved.translate(QPointF(1, 0));
        window.document().setShape(hole.id, moved);
        window.saveRecipe(saved);
        const json edited = frontend::recipeJson(frontend::loadRecipe(saved.toStdString()));
        QCOMPARE(edited.at("measurements")[4].at("roi").at("centre")[0].get<double>(), 521.0);
        json rest = edited, expected = original;
        rest["measurements"].erase(4);
        expected["measurements"].erase(4);
        QCOMPARE(rest, expected);
    }

    // A fault is reported with where it sits, and the ROIs stay.
    json broken = frontend::loadJsonObject(plate.toStdString(), "recipe");
    broken["dimensions"][0]["of"] = "bore";
    const QString wrong = dir_.filePath("broken.json");
    frontend::writeWholeFile(wrong.toStdString(), broken.dump());
    QString error;
    QVERIFY(!window.openPath(wrong, &error));
    QVERIFY2(error.contains("$.dimensions[0].of") && error.contains("bore"), qPrintable(error));
    QCOMPARE(window.document().rois().size(), size_t(7));
}

void StudioWindowTest::everyMenuAndEveryToolRunsOnTheDemoScene()
{
    MainWindow window;
    openScene(window, true);
    waitIdle(window);
    // Every example finds what it was written for.
    for (const RoiEntry& roi : window.document().rois())
        QVERIFY2(window.document().measurement(roi.id)->success, roi.name.c_str());

    // Every tool each shape takes, chosen in the panel: a form with every setting, and a
    // measurement that runs (finding something is up to the settings).
    auto* toolList = window.findChild<QComboBox*>("tool");
    for (const RoiEntry& roi : std::vector<RoiEntry>(window.document().rois())) {
        window.document().select(roi.id);
        for (int i = 0; i < toolList->count(); ++i) {
            toolList->setCurrentIndex(i);
            emit toolList->activated(i);
            const std::string tool = toolList->itemText(i).toStdString();
            QCOMPARE(window.document().roi(roi.id)->tool, tool);
            for (const frontend::ParamDefinition& d : frontend::findTool(tool).params)
                QVERIFY2(window.findChild<QWidget*>(QString::fromStdString(d.name)), d.name.c_str());
            waitIdle(window);
            const Measurement& m = *window.document().measurement(roi.id);
            QVERIFY2(m.ran, m.error.c_str());
        }
    }

    // Every menu entry, dialogs dismissed as they open.
    QTimer dismiss;
    connect(&dismiss, &QTimer::timeout, [] {
        if (QWidget* modal = QApplication::activeModalWidget())
            modal->close();
        for (QWidget* top : QApplication::topLevelWidgets())
            if (auto* dialog = qobject_cast<QDialog*>(top); dialog && dialog->isVisible())
                dialog->close();
    });
    dismiss.start(20);
    int triggered = 0;
    for (QAction* menu : window.menuBar()->actions())
        for (QAction* action : menu->menu()->actions()) {
            if (action->isSeparator() || action->text().contains("Quit"))
                continue;
            action->trigger();
            ++triggered;
            QTest::qWait(1);
        }
    dismiss.stop();
    QVERIFY(triggered > 15);
    waitIdle(window);
    QVERIFY(window.document().hasImage());

    // A folder dragged onto the window and dropped opens at its first image.
    QMimeData dropped;
    dropped.setUrls({QUrl::fromLocalFile(dir_.path())});
    QDragEnterEvent enter(QPoint(400, 300), Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    QDropEvent drop(QPointF(400, 300), Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &drop);
    const QString first = imagesInFolder(dir_.path()).front();
    QTRY_COMPARE_WITH_TIMEOUT(window.document().image()->path, first, 30000);
}

void StudioWindowTest::folderRunMeasuresEveryImageAsTheWindowDoes()
{
    MainWindow window;
    openScene(window, true);
    waitIdle(window);
    // The scene, and a copy moved by 3 px, in a folder of their own.
    QTemporaryDir folder;
    const cv::Mat scene = cv::imread(scene_.toStdString(), cv::IMREAD_UNCHANGED);
    cv::Mat moved;
    cv::copyMakeBorder(scene, moved, 0, 0, 3, 0, cv::BORDER_REPLICATE);
    QVERIFY(cv::imwrite(folder.filePath("a.png").toStdString(), scene));
    QVERIFY(cv::imwrite(folder.filePath("b.png").toStdString(), moved(cv::Rect(0, 0, scene.cols, scene.rows))));
    FolderRunDialog run(window.document().rois(), imagesInFolder(folder.path()));
    const size_t count = window.document().rois().size();
    QTRY_COMPARE_WITH_TIMEOUT(run.results().table().cells.size(), 2 * count, 60000);
    const ResultTable& table = run.results().table();
    // The first image's rows are the window's results, ROI by ROI; the moved image's
    // circle lies 3 px further right.
    const auto column = [&table](const char* name) {
        return std::find(table.header.begin(), table.header.end(), name) - table.header.begin();
    };
    for (size_t i = 0; i < count; ++i) {
        const RoiEntry& roi = window.document().rois()[i];
        QCOMPARE(table.cells[i][1], roi.name);
        const Measurement& shown = *window.document().measurement(roi.id);
        for (const auto& [name, value] : flattenMeasurement(shown))
            QCOMPARE(QString::fromStdString(table.cells[i][column(name.c_str())]), QString::fromStdString(value));
        if (roi.tool == "circle") {
            const double x = std::stod(table.cells[count + i][column("centre.x")]);
            QVERIFY(std::abs(x - shown.outputs.at("centre")[0].get<double>() - 3) < 0.05);
        }
    }
}

void StudioWindowTest::screenshotOptionRendersTheMeasuredWindow()
{
    const QString out = dir_.filePath("shot.png");
    QProcess studio;
    studio.start(FUNCTIONS_STUDIO, {scene_, QDir(FUNCTIONS_EXAMPLES_DIR).filePath("circle.json"), "--screenshot", out,
                                    "--size", "900x700"});
    QVERIFY(studio.waitForFinished(120000));
    QCOMPARE(studio.exitCode(), 0);
    QCOMPARE(QImage(out).size(), QSize(900, 700));
    // Input it cannot open is a message and status 2, not a picture of an empty window.
    studio.start(FUNCTIONS_STUDIO, {dir_.filePath("missing.png"), "--screenshot", dir_.filePath("none.png")});
    QVERIFY(studio.waitForFinished(120000));
    QCOMPARE(studio.exitCode(), 2);
    QVERIFY(studio.readAllStandardError().contains("missing.png"));
    QVERIFY(!QFileInfo::exists(dir_.filePath("none.png")));
}

QTEST_MAIN(StudioWindowTest)
#include "test_studio_window.moc"
