#pragma once

// The library's enumerations as the Python module presents them: one table per type,
// members named without the type's prefix (FitLineType.Huber for FitLineHuber), values
// taken from the library's header. The package turns each table into an enum.IntEnum.

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

namespace pyfunctions {

namespace py = pybind11;

struct EnumMember {
    const char* name;
    int value;
};

struct EnumDefinition {
    const char* name;
    const char* doc;
    std::vector<EnumMember> members;
};

const std::vector<EnumDefinition>& enumerations();

/// The value of an argument of enumeration `type`: an int (IntEnum members are ints) or
/// a member's name. Raises ValueError for an unknown name or a value beyond 32 bits,
/// TypeError for anything else. `what` names the argument.
int enumArgument(const py::handle& value, const char* type, const char* what);

} // namespace pyfunctions
