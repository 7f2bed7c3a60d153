// Region (blob) operators (RegionOperators.h). Grey and region images are uint8 arrays of
// shape (rows, columns); region images are 0 for background and non-zero (255 from the
// operators) for region; boolean masks are taken as region images too. Outputs are new
// arrays. Each call runs without the GIL.

#include "Bindings.h"
#include "Conversions.h"
#include "Enumerations.h"

#include <RegionOperators.h>

#include <opencv2/imgproc.hpp>

namespace pyfunctions {

namespace {

// A region image: uint8, or bool viewed as uint8 (0 and 1, any non-zero being region).
ArrayView regionArgument(const py::handle& object, const char* what)
{
    if (py::isinstance<py::array>(object)) {
        const auto array = py::reinterpret_borrow<py::array>(object);
        if (array.dtype().kind() == 'b')
            return imageArgument(array.attr("view")("uint8"), what);
    }
    return imageArgument(object, what);
}

ArrayView optionalRegionArgument(const py::handle& object, const char* what)
{
    return object.is_none() ? ArrayView{} : regionArgument(object, what);
}

py::list intList(const QVector<int>& values)
{
    py::list out;
    for (int v : values)
        out.append(v);
    return out;
}

py::list contourArrays(const ContourLayer& layer)
{
    py::list out;
    for (const std::vector<cv::Point>& contour : layer.contours) {
        py::array_t<int> array({static_cast<py::ssize_t>(contour.size()), py::ssize_t{2}});
        std::copy_n(reinterpret_cast<const int*>(contour.data()), 2 * contour.size(), array.mutable_data());
        out.append(array);
    }
    return out;
}

QList<ContourLayer> regionList(const std::vector<ContourLayer>& regions)
{
    QList<ContourLayer> out;
    for (const ContourLayer& region : regions)
        out.append(region);
    return out;
}

// Runs an operator from a source image to a new output image without the GIL.
template <typename Call>
py::object imageOperation(const ArrayView& source, Call call)
{
    cv::Mat out;
    {
        py::gil_scoped_release release;
        call(source.mat, out);
    }
    return arrayFromMat(out);
}

} // namespace

void bindRegions(py::module_& m)
{
    py::class_<ContourLayer>(m, "Region", R"doc(
One region: its outer boundary, its holes and the islands inside them, as select_shape
gives them. contours holds every boundary of the image as (n, 2) int32 arrays of (x, y)
pixel centres; outer_index, outer_indexes and hole_indexes index that list.
)doc")
        .def_readonly("outer_index", &ContourLayer::outerIndex)
        .def_property_readonly("outer_indexes", [](const ContourLayer& l) { return intList(l.outerIndexes); })
        .def_property_readonly("hole_indexes", [](const ContourLayer& l) { return intList(l.holeIndexes); })
        .def_property_readonly("contours", &contourArrays)
        .def_property_readonly("area", &getContourArea,
                               "Polygon area of the solid boundaries minus the holes, square pixels.")
        .def_property_readonly("centroid", &getContourFocus,
                               "Centre of gravity (x, y) of the solid polygons minus the holes; (0, 0) for no area.")
        .def_property_readonly(
            "bounding_box",
            [](const ContourLayer& l) -> py::object {
                if (l.outerIndex < 0 || l.outerIndex >= static_cast<int>(l.contours.size()))
                    return py::none();
                const cv::Rect r = cv::boundingRect(l.contours[static_cast<size_t>(l.outerIndex)]);
                return py::make_tuple(r.x, r.y, r.width, r.height);
            },
            "Upright box (x, y, width, height) of the outer boundary, in whole pixels.")
        .def(
            "mask",
            [](const ContourLayer& l, int rows, int columns) {
                if (rows <= 0 || columns <= 0)
                    throw py::value_error("mask: rows and columns must be positive");
                cv::Mat image = cv::Mat::zeros(rows, columns, CV_8U);
                getLayerMat_CCOMP(l, image);
                return arrayFromMat(image);
            },
            py::arg("rows"), py::arg("columns"),
            "The region painted into a new uint8 image: 255 inside, holes (with their boundary pixels) 0.")
        .def("__repr__", [](const ContourLayer& l) {
            return "<functions.Region area=" + std::to_string(getContourArea(l)) +
                   " holes=" + std::to_string(l.holeIndexes.size()) + ">";
        });

    m.def(
        "threshold_min_max",
        [](const ImageLike& src, int minGray, int maxGray, const ImageLike& mask) {
            const ArrayView m = optionalRegionArgument(mask.object, "mask");
            return imageOperation(imageArgument(src.object, "src"),
                                  [&](const cv::Mat& s, cv::Mat& d) { threshold_min_max(s, d, minGray, maxGray, m.mat); });
        },
        py::arg("src"), py::arg("min_gray"), py::arg("max_gray"), py::arg("mask") = py::none(),
        "Band threshold: 255 where min_gray <= src <= max_gray (inclusive, either order), else 0; only inside "
        "mask when given.");
    m.def(
        "dyn_threshold",
        [](const ImageLike& src, const ImageLike& ref, int offset, const EnumLike& type) {
            const ArrayView r = imageArgument(ref.object, "ref");
            const auto t = static_cast<ThresholdType>(enumArgument(type.object, "ThresholdType", "type"));
            return imageOperation(imageArgument(src.object, "src"),
                                  [&](const cv::Mat& s, cv::Mat& d) { dyn_threshold(s, r.mat, d, offset, t); });
        },
        py::arg("src"), py::arg("ref"), py::arg("offset"), py::arg("type") = 0,
        "Pixel-wise comparison of src with ref (typically a smoothed src) by a ThresholdType and an integer "
        "offset. None when the inputs do not fit (ref or src not one channel, other sizes).");
    m.def(
        "var_threshold",
        [](const ImageLike& src, int maskWidth, int maskHeight, float stdDevScale, float absThreshold,
           const EnumLike& type, const ImageLike& mask) {
            const ArrayView k = optionalRegionArgument(mask.object, "mask");
            const auto t = static_cast<ThresholdType>(enumArgument(type.object, "ThresholdType", "type"));
            return imageOperation(imageArgument(src.object, "src"), [&](const cv::Mat& s, cv::Mat& d) {
                var_threshold(s, k.mat, d, maskWidth, maskHeight, stdDevScale, absThreshold, t);
            });
        },
        py::arg("src"), py::arg("mask_width"), py::arg("mask_height"), py::arg("std_dev_scale"),
        py::arg("abs_threshold"), py::arg("type") = 0, py::arg("mask") = py::none(),
        "Local threshold against the mean and standard deviation of a mask_width x mask_height window (rounded "
        "up to odd): t = max(abs_threshold, std_dev_scale * deviation). None for unusable inputs.");
    m.def(
        "fast_threshold",
        [](const ImageLike& src, int minGray, int maxGray, int minSize, const ImageLike& mask) {
            const ArrayView k = optionalRegionArgument(mask.object, "mask");
            return imageOperation(imageArgument(src.object, "src"), [&](const cv::Mat& s, cv::Mat& d) {
                fast_threshold(s, k.mat, d, minGray, maxGray, minSize);
            });
        },
        py::arg("src"), py::arg("min_gray"), py::arg("max_gray"), py::arg("min_size"), py::arg("mask") = py::none(),
        "Sampled band threshold from seeds on every fourth row, each marking qualifying pixels within min_size.");

    m.def(
        "connection",
        [](const ImageLike& image) {
            const ArrayView v = regionArgument(image.object, "image");
            std::vector<cv::Mat> regions;
            {
                py::gil_scoped_release release;
                connection(v.mat, regions);
            }
            py::list out;
            for (const cv::Mat& region : regions)
                out.append(arrayFromMat(region));
            return out;
        },
        py::arg("image"), "One uint8 image per 8-connected region (holes at 0), in contour-finder order.");
    m.def(
        "select_shape",
        [](const ImageLike& image, const py::iterable& criteria, const EnumLike& operation) {
            const ArrayView v = regionArgument(image.object, "image");
            QVector<SelectShapeInfo> infos;
            for (const py::handle criterion : criteria) {
                if (!py::isinstance<py::sequence>(criterion) || py::isinstance<py::str>(criterion) ||
                    py::len(criterion) != 3)
                    throw py::value_error("select_shape: each criterion must be (feature, min, max)");
                const auto item = py::reinterpret_borrow<py::sequence>(criterion);
                infos.push_back({static_cast<ShapeFeature>(enumArgument(item[0], "ShapeFeature", "feature")),
                                 numberArgument(item[1], "criterion min"), numberArgument(item[2], "criterion max")});
            }
            const auto op = static_cast<SelectOperation>(enumArgument(operation.object, "SelectOperation", "operation"));
            cv::Mat selected = cv::Mat::zeros(v.mat.size(), CV_8U);
            QList<ContourLayer> kept;
            {
                py::gil_scoped_release release;
                kept = select_shape(v.mat, selected, infos, op);
            }
            py::list regions;
            for (const ContourLayer& layer : kept)
                regions.append(py::cast(layer));
            return py::make_tuple(regions, arrayFromMat(selected));
        },
        py::arg("image"), py::arg("criteria"), py::arg("operation") = 0, R"doc(
Keeps the regions whose features pass the criteria, each (feature, min, max) with a
ShapeFeature member or name ("Area", "Rectangularity", "Width", ...), bounds inclusive in
either order; operation And keeps regions passing every criterion, Or any. Returns
(list of Region in contour-finder order, uint8 image of the kept regions).
)doc");
    m.def(
        "select_max_region",
        [](const ImageLike& image) -> py::object {
            const ArrayView v = regionArgument(image.object, "image");
            cv::Mat largest;
            bool found = false;
            {
                py::gil_scoped_release release;
                found = select_max_region(v.mat, largest);
            }
            return found ? arrayFromMat(largest) : py::none();
        },
        py::arg("image"), "The region of largest area (holes subtracted) as a new image; None when there is none.");
    m.def(
        "sort_region",
        [](const ImageLike& image, const std::vector<ContourLayer>& regions, const EnumLike& criterion, const EnumLike& order,
           const EnumLike& direction) -> py::object {
            const ArrayView v = regionArgument(image.object, "image");
            const QList<ContourLayer> list = regionList(regions);
            const auto c = static_cast<SortCriterion>(enumArgument(criterion.object, "SortCriterion", "criterion"));
            const auto o = static_cast<SortOrder>(enumArgument(order.object, "SortOrder", "order"));
            const auto d = static_cast<SortDirection>(enumArgument(direction.object, "SortDirection", "direction"));
            std::vector<int> indexes;
            bool sorted = false;
            {
                py::gil_scoped_release release;
                sorted = sort_region(v.mat, list, indexes, c, o, d);
            }
            return sorted ? py::cast(indexes) : py::none();
        },
        py::arg("image"), py::arg("regions"), py::arg("criterion") = 2, py::arg("order") = 0,
        py::arg("direction") = 0,
        "Indexes of regions in sorted order by a reference point (SortCriterion, default UpperLeft), rows first "
        "(ByRow) or columns first; None when a reference point cannot be found for every region.");
    m.def(
        "shape_trans",
        [](const ImageLike& src, const EnumLike& type) {
            const auto t = static_cast<ShapeTransType>(enumArgument(type.object, "ShapeTransType", "type"));
            return imageOperation(regionArgument(src.object, "src"), [&](const cv::Mat& s, cv::Mat& d) { shape_trans(s, d, t); });
        },
        py::arg("src"), py::arg("type"),
        "Every region replaced by its filled bounding rectangle, enclosing circle or convex hull (ShapeTransType).");
    m.def(
        "fill_up",
        [](const ImageLike& src) {
            return imageOperation(regionArgument(src.object, "src"), [](const cv::Mat& s, cv::Mat& d) { fill_up(s, d); });
        },
        py::arg("src"), "Every region with its holes filled.");
    m.def(
        "area_center",
        [](const ImageLike& src) {
            const ArrayView v = regionArgument(src.object, "src");
            int area = 0;
            cv::Point2f centre;
            {
                py::gil_scoped_release release;
                area_center(v.mat, area, centre);
            }
            return py::make_tuple(area, py::make_tuple(centre.x, centre.y));
        },
        py::arg("src"), "(number of non-zero pixels, (mean x, mean y)); (0, (0, 0)) without any.");
    m.def(
        "connected_moments",
        [](const ImageLike& labels, int label) {
            ArrayView v = matrixArgument(labels.object, "labels", {CV_32S});
            double m00 = 0, m10 = 0, m01 = 0, m20 = 0, m11 = 0, m02 = 0;
            {
                py::gil_scoped_release release;
                connectedMoments(v.mat, label, m00, m10, m01, m20, m11, m02);
            }
            return py::make_tuple(m00, m10, m01, m20, m11, m02);
        },
        py::arg("labels"), py::arg("label"),
        "Raw moments (m00, m10, m01, m20, m11, m02) of the pixels equal to label in an int32 label image.");
    m.def(
        "cv_thin",
        [](const ImageLike& src, int iterations) {
            return imageOperation(regionArgument(src.object, "src"),
                                  [&](const cv::Mat& s, cv::Mat& d) { cvThin(s, d, iterations); });
        },
        py::arg("src"), py::arg("iterations"),
        "Regions thinned to lines one pixel wide in at most iterations rounds; border pixels never change.");
    m.def(
        "line_gauss",
        [](const ImageLike& src, const EnumLike& type, std::pair<int, int> ksize, double sigmaX, double sigmaY,
           int blockHalf, double c, int thinIterations, const ImageLike& mask) {
            const ArrayView k = optionalRegionArgument(mask.object, "mask");
            const auto t = static_cast<LineGaussType>(enumArgument(type.object, "LineGaussType", "type"));
            return imageOperation(imageArgument(src.object, "src"), [&](const cv::Mat& s, cv::Mat& d) {
                line_gauss(s, k.mat, d, t, cv::Size(ksize.first, ksize.second), sigmaX, sigmaY, blockHalf, c,
                           thinIterations);
            });
        },
        py::arg("src"), py::arg("type"), py::arg("ksize"), py::arg("sigma_x"), py::arg("sigma_y"),
        py::arg("block_half"), py::arg("c"), py::arg("thin_iterations"), py::arg("mask") = py::none(),
        "Thin dark or light lines: Gaussian smoothing (ksize (width, height) odd, sigmas), a Gaussian local "
        "threshold over 2 * block_half + 1 with constant c, the mask, then cv_thin. Invalid sizes raise.");
}

} // namespace pyfunctions
