#pragma once

/// \file
/// Umbrella header: a host includes only this. It brings in every area of the library
/// (see the module list) and the version (FunctionsVersion.h).

#include "FunctionsDef.h"
#include "FunctionsVersion.h"

#include "CaptureMapping.h"
#include "CircleTools.h"
#include "CoordinateUtility.h"
#include "EdgeTools.h"
#include "FitQuality.h"
#include "Fitting.h"
#include "Geometry.h"
#include "ImageSampling.h"
#include "LineTools.h"
#include "MatchingResults.h"
#include "PlaneFitting.h"
#include "ProfileCore.h"
#include "RegionOperators.h"
#include "RoiShapes.h"
#include "SkewCorrection.h"
