#include "Enumerations.h"

#include <FunctionsDef.h>

#include <climits>
#include <stdexcept>

namespace pyfunctions {

const std::vector<EnumDefinition>& enumerations()
{
    static const std::vector<EnumDefinition> definitions = {
        {"ClcDirection", "Scan direction of a caliper.",
         {{"LeftToRight", LeftToRight}, {"RightToLeft", RightToLeft}, {"TopToBottom", TopToBottom},
          {"BottomToTop", BottomToTop}}},
        {"EdgeTransition", "Edge polarity, judged along the scan direction.",
         {{"BothTransitions", BothTransitions}, {"LightToDark", LightToDark}, {"DarkToLight", DarkToLight}}},
        {"FitLineType", "Line fitting method; any other value behaves like Tukey.",
         {{"LeastSquares", FitLineLeastSquares}, {"Huber", FitLineHuber}, {"Tukey", FitLineTukey}}},
        {"FitCircleType", "Circle fitting method; values above 3 restart from samples with unit weights.",
         {{"LeastSquares", FitCircleLeastSquares}, {"Huber", FitCircleHuber}, {"Tukey", FitCircleTukey},
          {"Taubin", FitCircleTaubin}}},
        {"FitEllipseType", "Ellipse fitting method; any other value behaves like Tukey.",
         {{"LeastSquares", FitEllipseLeastSquares}, {"Huber", FitEllipseHuber}, {"Tukey", FitEllipseTukey}}},
        {"ArithmeticSign", "Angle arithmetic: Addition adds, any other value subtracts.",
         {{"Addition", Addition}, {"Subtraction", Subtraction}}},
        {"ThresholdType",
         "Comparison of dyn_threshold and var_threshold (g grey value, r reference, t offset): Light g >= r + t, "
         "Dark g <= r - t, Equal r - t <= g <= r + t, NotEqual outside that band.",
         {{"Light", Light}, {"Dark", Dark}, {"Equal", Equal}, {"NotEqual", NotEqual}}},
        {"ShapeTransType", "Shape painted per region by shape_trans.",
         {{"BoundingRectangle", BoundingRectangle}, {"EnclosingCircle", EnclosingCircle}, {"ConvexHull", ConvexHull}}},
        {"LineGaussType", "Which lines line_gauss extracts; any non-zero value means LightLines.",
         {{"DarkLines", DarkLines}, {"LightLines", LightLines}}},
        {"SelectOperation", "How select_shape combines its criteria: every one passes (And) or any (Or).",
         {{"And", And}, {"Or", Or}}},
        {"SortCriterion", "Reference point of a region for sort_region.",
         {{"FirstPoint", FirstPoint}, {"LastPoint", LastPoint}, {"UpperLeft", UpperLeft}, {"UpperRight", UpperRight},
          {"LowerLeft", LowerLeft}, {"LowerRight", LowerRight}}},
        {"SortOrder", "Sort order of sort_region; any non-zero value means Descending.",
         {{"Ascending", Ascending}, {"Descending", Descending}}},
        {"SortDirection", "Primary key of sort_region: rows (y, then x) or columns (x, then y).",
         {{"ByRow", ByRow}, {"ByColumn", ByColumn}}},
        {"ShapeFeature",
         "Shape feature of a select_shape criterion: areas in square pixels, lengths in pixels, angles in degrees "
         "[0, 180).",
         {{"Area", Area}, {"Rectangularity", Rectangularity}, {"Width", Width}, {"Height", Height},
          {"CentroidRow", CentroidRow}, {"CentroidColumn", CentroidColumn}, {"RectHalfLength", RectHalfLength},
          {"RectHalfWidth", RectHalfWidth}, {"RectAngle", RectAngle}, {"EllipseSemiMajor", EllipseSemiMajor},
          {"EllipseSemiMinor", EllipseSemiMinor}, {"EllipseAngle", EllipseAngle}}},
        {"MatchingResultSortType",
         "Orders of sort_matching_results: by centre, score or angle, or in rows, columns and serpentines of a grid.",
         {{"CenterYAscend", SortCenterYAscend},
          {"CenterYDescend", SortCenterYDescend},
          {"CenterXAscend", SortCenterXAscend},
          {"CenterXDescend", SortCenterXDescend},
          {"ScoreDescend", SortScoreDescend},
          {"AngleDescend", SortAngleDescend},
          {"RowsYAscendXAscend", SortRowsYAscendXAscend},
          {"RowsYAscendXDescend", SortRowsYAscendXDescend},
          {"RowsYDescendXAscend", SortRowsYDescendXAscend},
          {"RowsYDescendXDescend", SortRowsYDescendXDescend},
          {"ColumnsXAscendYAscend", SortColumnsXAscendYAscend},
          {"ColumnsXAscendYDescend", SortColumnsXAscendYDescend},
          {"ColumnsXDescendYAscend", SortColumnsXDescendYAscend},
          {"ColumnsXDescendYDescend", SortColumnsXDescendYDescend},
          {"SnakeRowsYAscendXAscend", SortSnakeRowsYAscendXAscend},
          {"SnakeRowsYAscendXDescend", SortSnakeRowsYAscendXDescend},
          {"SnakeRowsYDescendXAscend", SortSnakeRowsYDescendXAscend},
          {"SnakeRowsYDescendXDescend", SortSnakeRowsYDescendXDescend},
          {"SnakeColumnsXAscendYAscend", SortSnakeColumnsXAscendYAscend},
          {"SnakeColumnsXAscendYDescend", SortSnakeColumnsXAscendYDescend},
          {"SnakeColumnsXDescendYAscend", SortSnakeColumnsXDescendYAscend},
          {"SnakeColumnsXDescendYDescend", SortSnakeColumnsXDescendYDescend},
          {"AngleAscend", SortAngleAscend}}},
    };
    return definitions;
}

int enumArgument(const py::handle& value, const char* type, const char* what)
{
    const EnumDefinition* definition = nullptr;
    for (const EnumDefinition& d : enumerations())
        if (std::string(d.name) == type)
            definition = &d;
    if (!definition)
        throw std::logic_error(std::string("no enumeration table ") + type);
    if (PyUnicode_Check(value.ptr())) {
        const std::string name = value.cast<std::string>();
        std::string known;
        for (const EnumMember& member : definition->members) {
            if (name == member.name)
                return member.value;
            known += (known.empty() ? "" : "|") + std::string(member.name);
        }
        throw py::value_error(std::string(what) + ": '" + name + "' is not a " + type + " (one of " + known + ")");
    }
    if (PyBool_Check(value.ptr()) || !PyIndex_Check(value.ptr()))
        throw py::type_error(std::string(what) + " must be a " + type + " member, its int value or its name, got " +
                             std::string(py::str(py::type::handle_of(value).attr("__name__"))));
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    if (!index)
        throw py::error_already_set();
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
    // The library defines what every 32-bit value does; beyond that the value is a mistake.
    if (overflow || number < INT_MIN || number > INT_MAX)
        throw py::value_error(std::string(what) + ": " + std::string(py::str(index)) + " is outside the 32-bit range");
    return static_cast<int>(number);
}

} // namespace pyfunctions
