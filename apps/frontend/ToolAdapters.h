#pragma once

// The tool adapters, one per Tool*.cpp; tools() lists them.

#include "ToolDefinition.h"

namespace frontend {

ToolDefinition edgePointTool();
ToolDefinition edgePointsTool();
ToolDefinition edgesTool();
ToolDefinition edgePairsTool();
ToolDefinition lineTool();
ToolDefinition circleTool();
ToolDefinition arcTool();
ToolDefinition diameterTool();
ToolDefinition regionsTool();
ToolDefinition skewTool();

} // namespace frontend
