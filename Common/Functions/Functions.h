#pragma once

// Umbrella header: a host includes only this.

#include "FunctionsDef.h"

#include "EdgeTools.h"
#include "Geometry.h"
#include "RoiShapes.h"
