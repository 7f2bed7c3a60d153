// functions-studio: draw ROIs on an image, tune the library's tools live, save what was
// taught for the command-line tool.

#include "MainWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QTimer>

#include <FunctionsVersion.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <optional>

namespace {

// Renders the window into a picture once the image is loaded and measured, then quits.
void screenshotWhenIdle(studio::MainWindow& window, const QString& out, std::optional<QPointF> probe)
{
    auto* poll = new QTimer(&window);
    QElapsedTimer clock;
    clock.start();
    QObject::connect(poll, &QTimer::timeout, &window, [&window, out, poll, clock, probe] {
        const bool ready = window.isIdle() && window.document().hasImage();
        if (!ready && clock.elapsed() < 120000)
            return;
        poll->stop();
        if (ready && probe)
            window.probeAt(*probe);
        if (!ready) {
            std::fprintf(stderr, "functions-studio: no image to take a picture of\n");
            QApplication::exit(2);
            return;
        }
        // A palette of 256 colours keeps a picture of the window small (for documentation)
        // at no visible cost: the window has few colours beyond the image's greys.
        const QImage picture = window.grab().toImage().convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither);
        if (!picture.save(out)) {
            std::fprintf(stderr, "functions-studio: cannot write %s\n", qPrintable(out));
            QApplication::exit(2);
            return;
        }
        QApplication::exit(0);
    });
    poll->start(50);
}

} // namespace

int main(int argc, char** argv)
{
    // Answered before the window system is asked for a display, which a packaging check
    // or a terminal session may not have.
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--version") == 0) {
            // The library is found at run time, so it may not be the one this was built with.
            const std::string library = functionsVersion();
            std::printf("functions-studio %s%s\n", FUNCTIONS_VERSION_STRING,
                        library == FUNCTIONS_VERSION_STRING ? "" : (" (library " + library + ")").c_str());
            return 0;
        }
    QApplication app(argc, argv);
    QApplication::setApplicationName("functions-studio");
    QCommandLineParser parser;
    parser.setApplicationDescription("Draw ROIs on an image and tune the Functions library's tools live");
    parser.addHelpOption();
    parser.addOption({"version", "Print the version and exit"});
    parser.addPositionalArgument("paths", "Images, a folder, recipes or parameters files (.json) to open", "[paths...]");
    const QCommandLineOption tool("tool", "Tool that measures the ROIs of the parameters files given", "name");
    const QCommandLineOption screenshot(
        "screenshot", "Render the window into a PNG (256 colours) once measured, then quit", "out.png");
    const QCommandLineOption size("size", "Window size, e.g. 1400x900", "WxH", "1400x900");
    const QCommandLineOption probe("probe", "Show the caliper profile at this image point", "x,y");
    parser.addOptions({tool, screenshot, size, probe});
    parser.process(app);

    studio::MainWindow window;
    const QStringList extent = parser.value(size).split('x');
    if (extent.size() != 2 || extent[0].toInt() < 200 || extent[1].toInt() < 150) {
        std::fprintf(stderr, "functions-studio: --size must be WIDTHxHEIGHT, at least 200x150, got %s\n",
                     qPrintable(parser.value(size)));
        return 2;
    }
    window.resize(extent[0].toInt(), extent[1].toInt());
    window.show();

    const bool batch = parser.isSet(screenshot);
    window.setQuiet(batch);
    if (batch)
        QObject::connect(&window, &studio::MainWindow::loadFailed, [](const QString& message) {
            std::fprintf(stderr, "functions-studio: %s\n", qPrintable(message));
            QApplication::exit(2);
        });
    for (const QString& path : parser.positionalArguments()) {
        QString error;
        bool opened = false;
        if (parser.isSet(tool) && path.endsWith(".json", Qt::CaseInsensitive)) {
            try {
                window.importParameters(path, parser.value(tool).toStdString());
                opened = true;
            } catch (const std::exception& e) {
                error = QString::fromStdString(e.what());
                if (!batch)
                    QMessageBox::warning(&window, QObject::tr("Open"), error);
            }
        } else {
            opened = window.openPath(path, &error);
        }
        if (!opened && batch) {
            std::fprintf(stderr, "functions-studio: %s\n", qPrintable(error));
            return 2;
        }
    }
    std::optional<QPointF> probePoint;
    if (parser.isSet(probe)) {
        const QStringList xy = parser.value(probe).split(',');
        bool xOk = false, yOk = false;
        if (xy.size() == 2)
            probePoint = QPointF(xy[0].toDouble(&xOk), xy[1].toDouble(&yOk));
        if (!xOk || !yOk) {
            std::fprintf(stderr, "functions-studio: --probe must be X,Y in image pixels, got %s\n",
                         qPrintable(parser.value(probe)));
            return 2;
        }
    }
    if (batch)
        screenshotWhenIdle(window, parser.value(screenshot), probePoint);
    return QApplication::exec();
}
