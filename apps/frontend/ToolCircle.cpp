// Front-end adapter of the circle tool.

#include "CircleToolSupport.h"
#include "ToolAdapters.h"

#include <Functions.h>

namespace frontend {
namespace {

ToolResult runCircle(ToolInput& input)
{
    _CircleDetParam param;
    fillCaliperSettings(param, input);
    param.roi = input.roi.shape.get();

    ToolResult result;
    result.microseconds = timeMicroseconds([&] {
        result.success = clcCirclePointsAndFit(input.image, param, input.choice("fitMode"),
                                               input.boolean("bestEdgePerCaliper"), input.integer("angularSmoothing"),
                                               input.number("outlierDistance"));
    });
    if (result.success)
        result.outputs = {{"centre", pointJson(param.centre)}, {"radius", param.radius},
                          {"diameter", 2 * param.radius}};
    result.outputs["edgePoints"] = pointsJson(param.edgePoints);
    judgeCircleFamily(result, input, param.edgePoints, param.centre, param.radius, FitCircleHuber);
    return result;
}

} // namespace

ToolDefinition circleTool()
{
    return {
        "circle",
        "Circle fitted to edge points found along the radii of a ring or an arc; outputs centre [x, y], radius and "
        "edgePoints",
        {"ring", "arc"},
        circleFamilyParams(),
        runCircle,
        drawCircleFamily,
    };
}
} // namespace frontend
