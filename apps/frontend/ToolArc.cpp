// Front-end adapter of the arc tool.

#include "CircleToolSupport.h"
#include "ToolAdapters.h"

#include <Functions.h>

namespace frontend {
namespace {

ToolResult runArc(ToolInput& input)
{
    _ArcDetParam param;
    fillCaliperSettings(param, input);
    param.roi = static_cast<ArcROI*>(input.roi.shape.get());

    ToolResult result;
    result.microseconds = timeMicroseconds([&] {
        result.success = clcArcPointsAndFit(input.image, param, input.choice("fitMode"),
                                            input.boolean("bestEdgePerCaliper"), input.integer("angularSmoothing"),
                                            input.number("outlierDistance"));
    });
    if (result.success)
        result.outputs = {{"centre", pointJson(param.centre)},
                          {"radius", param.radius},
                          {"diameter", 2 * param.radius},
                          {"startAngle", param.arcStartAngle},
                          {"endAngle", param.arcEndAngle}};
    result.outputs["edgePoints"] = pointsJson(param.edgePoints);
    judgeCircleFamily(result, input, param.edgePoints, param.centre, param.radius, FitCircleTukey);
    return result;
}

} // namespace

ToolDefinition arcTool()
{
    return {
        "arc",
        "Circle fitted to edge points inside an arc and the part of it the arc covers; outputs centre [x, y], radius, "
        "startAngle and endAngle (degrees counter-clockwise, y up) and edgePoints",
        {"arc"},
        circleFamilyParams(),
        runArc,
        drawCircleFamily,
    };
}
} // namespace frontend
