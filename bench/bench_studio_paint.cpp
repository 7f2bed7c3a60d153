// Painting the studio's image view (1400 x 900) with a 20-megapixel image against the
// same view with a 1280 x 1024 one, fitted to the window, at one image pixel per screen
// pixel and enlarged eight times, each after a pan. The view paints only what it shows,
// from the smallest halving that still has a pixel per screen pixel, so a paint should
// cost about the same whatever the image's size: x_small near 1.

#include "BenchSupport.h"
#include "ImageView.h"

#include <QApplication>
#include <QPixmap>

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

namespace {

void ensureApplication()
{
    static int argc = 1;
    static char name[] = "bench_studio_paint";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return new QApplication(argc, argv);
    }();
    (void)app;
}

// A grey image with texture everywhere, so that no paint can skip flat areas.
cv::Mat texturedImage(cv::Size size)
{
    cv::Mat image(size, CV_8UC1);
    cv::randu(image, 0, 255);
    cv::GaussianBlur(image, image, cv::Size(0, 0), 2.0);
    return image;
}

struct Painter {
    studio::StudioDocument document;
    studio::ImageView view{document};
    QPixmap canvas{1400, 900};
    explicit Painter(const cv::Mat& image)
    {
        view.resize(canvas.size());
        document.setImage(studio::imageFromMatrix(image, "bench"));
        view.fitToWindow();
    }
    void zoom(double scale)
    {
        view.fitToWindow();
        view.zoomAt(QPointF(700, 450), scale / view.viewport().scale);
    }
    // A pan by a few pixels, then a full paint, as while dragging the image.
    void panAndPaint()
    {
        static int step = 0;
        view.centreOn(view.viewport().toImage(QPointF(700 + (++step % 2 ? 3 : -3), 450)));
        view.render(&canvas);
    }
};

void paint(benchmark::State& state, double scale)
{
    ensureApplication();
    static Painter large(texturedImage(cv::Size(5472, 3648)));
    static Painter small(texturedImage(cv::Size(1280, 1024)));
    // Fitted (scale 0): each image at its own fit; otherwise the same scale for both.
    if (scale > 0) {
        large.zoom(scale);
        small.zoom(scale);
    } else {
        large.view.fitToWindow();
        small.view.fitToWindow();
    }
    for (auto _ : state)
        large.panAndPaint();
    const auto [largeTime, smallTime] = bench::fastestInterleaved(
        10, 5, [&] { large.panAndPaint(); }, [&] { small.panAndPaint(); });
    state.counters["paint_ms"] = largeTime * 1e3;
    state.counters["small_ms"] = smallTime * 1e3;
    state.counters["x_small"] = largeTime / smallTime;
}

void BM_PaintLargeImage_Fitted(benchmark::State& state)
{
    paint(state, 0);
}
BENCHMARK(BM_PaintLargeImage_Fitted)->Unit(benchmark::kMillisecond);

void BM_PaintLargeImage_ActualSize(benchmark::State& state)
{
    paint(state, 1);
}
BENCHMARK(BM_PaintLargeImage_ActualSize)->Unit(benchmark::kMillisecond);

void BM_PaintLargeImage_Enlarged8(benchmark::State& state)
{
    paint(state, 8);
}
BENCHMARK(BM_PaintLargeImage_Enlarged8)->Unit(benchmark::kMillisecond);

} // namespace
