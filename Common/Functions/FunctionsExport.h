#pragma once

/// \file
/// The export macro of the library's symbols (\ref version).
/// \ingroup version

/// \addtogroup version
/// @{

#if defined(_WIN32)
#  if defined(FUNCTIONS_BUILDING_LIBRARY)
#    define FUNCTIONS_EXPORT __declspec(dllexport)
#  else
#    define FUNCTIONS_EXPORT __declspec(dllimport)
#  endif
#else
/// Marks every symbol a host may bind. The library is built with hidden visibility, so
/// anything without this macro stays internal to libFunctions.so.
#  define FUNCTIONS_EXPORT __attribute__((visibility("default")))
#endif

/// @}
