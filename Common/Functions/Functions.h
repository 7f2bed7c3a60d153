#pragma once

// Umbrella header: a host includes only this.

#include "FunctionsDef.h"

#include "EdgeTools.h"
#include "ImageSampling.h"
#include "ProfileCore.h"
#include "RoiShapes.h"
