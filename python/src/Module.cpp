// The extension module `functions._functions`; the package `functions` re-exports it.

#include "Bindings.h"
#include "Enumerations.h"

#include <FunctionsVersion.h>

namespace pyfunctions {
namespace {

py::list enumerationTable()
{
    py::list out;
    for (const EnumDefinition& definition : enumerations()) {
        py::list members;
        for (const EnumMember& member : definition.members)
            members.append(py::make_tuple(member.name, member.value));
        out.append(py::make_tuple(definition.name, definition.doc, members));
    }
    return out;
}

} // namespace
} // namespace pyfunctions

PYBIND11_MODULE(_functions, m)
{
    using namespace pyfunctions;
    m.doc() = "Machine-vision measurement tools and algorithms of the Functions library.";
    m.attr("__version__") = FUNCTIONS_VERSION_STRING;
    m.def("_enumeration_table", &enumerationTable, "(name, doc, [(member, value), ...]) per enumeration");
    bindTools(m);
    bindGeometry(m);
    bindFitting(m);
    bindRegions(m);
    bindPoses(m);
    bindRecipes(m);
    bindBench(m);
}
