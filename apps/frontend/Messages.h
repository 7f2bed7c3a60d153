#pragma once

// Wording shared by the front ends' messages.

#include <string>
#include <vector>

namespace frontend {

/// "a, b, c".
std::string joined(const std::vector<std::string>& words, const std::string& separator = ", ");

/// A number as a person reads it in a message: integers without a fraction, others with
/// up to 6 significant digits ("500", "0.25", "1e+09").
std::string formatNumber(double value);

} // namespace frontend
