#pragma once

// Umbrella header: a host includes only this.

#include "FunctionsDef.h"

#include "EdgeTools.h"
#include "Fitting.h"
#include "Geometry.h"
#include "PlaneFitting.h"
#include "RoiShapes.h"
