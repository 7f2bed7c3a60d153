"""Writes the generated parts of the `functions` package from the built extension.

- _generated.py: one function per measurement tool, its keyword settings with the
  command-line tool's names, defaults and ranges (from the shared tool table), and the
  library's enumerations as enum.IntEnum classes;
- _functions.pyi: type stubs of the extension, from the signatures pybind11 writes into
  the docstrings, so editors complete and check the compiled names too.

Usage: generate.py PACKAGE_DIR (the directory holding the built _functions extension).
"""

import glob
import importlib.util
import keyword
import os
import re
import sys
import textwrap

ROI_CLASSES = {
    "rect": "RectROI",
    "rotated_rect": "RotateRectROI",
    "line": "LineROI",
    "ring": "RingROI",
    "arc": "ArcROI",
}
SETTING_TYPES = {"int": "int", "float": "float", "bool": "bool", "choice": "str | int"}


def load_extension(package_dir):
    # Loaded by path: importing the package would need the files written here.
    path = glob.glob(os.path.join(package_dir, "_functions*.so"))[0]
    location = importlib.util.spec_from_file_location("functions._functions", path)
    module = importlib.util.module_from_spec(location)
    location.loader.exec_module(module)
    return module


def wrapped(text, indent, hanging="    "):
    return textwrap.fill(text, width=88, initial_indent=indent, subsequent_indent=indent + hanging)


def enum_source(name, doc, members):
    lines = [f"class {name}(IntEnum):", f'    """{doc}"""', ""]
    lines += [f"    {member} = {value}" for member, value in members]
    return "\n".join(lines)


def setting_doc(param):
    text = f"{param['name']} ({param['allowed']}, default {param['default']!r}): {param['help']}"
    return wrapped(text, "        ")


def tool_source(tool):
    for param in tool["params"]:
        if not param["name"].isidentifier() or keyword.iskeyword(param["name"]) or param["name"] in ("image", "roi"):
            raise SystemExit(f"tool {tool['name']}: setting {param['name']!r} is not a Python name")
    roi_types = " | ".join([ROI_CLASSES[kind] for kind in tool["roi"]] + ["dict"])
    settings = "".join(
        f",\n    {p['name']}: {SETTING_TYPES[p['type']]} = {p['default']!r}" for p in tool["params"]
    )
    values = "".join(f", {p['name']!r}: {p['name']}" for p in tool["params"])
    kinds = ", ".join(f"{ROI_CLASSES[kind]} ({kind})" for kind in tool["roi"])
    doc = [wrapped(tool["summary"] + ".", "    ", "").strip(), ""]
    doc += [wrapped(f"roi: {kinds}, or its parameters-file dict.", "    ", "")]
    doc += ["", "    Settings (choices by name or by their index):"]
    doc += [setting_doc(p) for p in tool["params"]]
    doc += ["", "    Returns a Result; ValueError for a bad setting or a ROI outside the image."]
    return (
        f"def {tool['name']}(\n    image: numpy.ndarray,\n    roi: {roi_types},\n    *{settings},\n) -> Result:\n"
        f'    """' + "\n".join(doc) + '\n    """\n'
        f"    return _functions.run({tool['name']!r}, image, {{'roi': roi{values}}})\n"
    )


def generated_module(extension):
    parts = [
        '"""The measurement tools and the enumerations, written by generate.py from the extension\'s own\n'
        'tables (the tools\' settings are those of the command-line tool). Do not edit."""',
        "from __future__ import annotations\n\nfrom enum import IntEnum\nfrom typing import TYPE_CHECKING\n\n"
        "from . import _functions\nfrom ._functions import Result\n"
        "from ._roi import ArcROI, LineROI, RectROI, RingROI, RotateRectROI\n\n"
        "if TYPE_CHECKING:  # annotations only: the module imports without NumPy\n    import numpy",
    ]
    parts += [enum_source(*entry) for entry in extension._enumeration_table()]
    parts += [tool_source(tool) for tool in extension._tool_table()]
    names = [entry[0] for entry in extension._enumeration_table()] + [t["name"] for t in extension._tool_table()]
    parts.append("__all__ = [\n" + "".join(f"    {name!r},\n" for name in names) + "]")
    return "\n\n\n".join(parts) + "\n"


# pybind11's signature text -> stub annotations.
def annotation(text):
    text = text.replace("functions._functions.", "")
    text = re.sub(r"numpy\.ndarray\[[^\]]*\]", "numpy.ndarray", text)
    text = re.sub(r"\bList\[", "list[", text)
    text = re.sub(r"\bTuple\[", "tuple[", text)
    text = re.sub(r"^Optional\[(.*)\]$", r"\1 | None", text)
    text = re.sub(r"\b(object|handle)\b", "Any", text)
    text = re.sub(r"\bIterable\b(?!\[)", "Iterable[Any]", text)
    return text


SIMPLE_DEFAULT = re.compile(r"^(None|True|False|-?\d+(\.\d+)?(e-?\d+)?|'[^']*')$")


def stub_parameters(signature):
    # Splits "a: T = 1, b: list[tuple[int, int]]" at top-level commas.
    parameters, depth, current = [], 0, ""
    for char in signature:
        depth += char in "[(" and 1 or char in "])" and -1 or 0
        if char == "," and depth == 0:
            parameters.append(current.strip())
            current = ""
        else:
            current += char
    if current.strip():
        parameters.append(current.strip())
    out = []
    for parameter in parameters:
        name, _, rest = parameter.partition(":")
        kind, _, default = rest.partition("=")
        if name.strip() == "self":
            out.append("self")
            continue
        kind = annotation(kind.strip())
        if default.strip() == "None" and "None" not in kind and kind != "Any":
            kind += " | None"
        text = f"{name.strip()}: {kind}"
        if default.strip():
            text += " = " + (default.strip() if SIMPLE_DEFAULT.match(default.strip()) else "...")
        out.append(text)
    return ", ".join(out)


SIGNATURE = re.compile(r"^(?:\d+\. )?(\w+)\((.*)\) -> (.+)$")


def function_stubs(name, doc, indent=""):
    signatures = [SIGNATURE.match(line) for line in (doc or "").splitlines()]
    signatures = [m for m in signatures if m and m.group(1) == name]
    overloaded = len(signatures) > 1
    out = []
    for match in signatures:
        if overloaded:
            out.append(f"{indent}@overload")
        out.append(f"{indent}def {name}({stub_parameters(match.group(2))}) -> {annotation(match.group(3))}: ...")
    return out


def class_stubs(name, cls):
    doc = (cls.__doc__ or "").strip().splitlines()
    out = [f"class {name}:", f'    """{doc[0] if doc else name}"""']
    for attribute, value in cls.__dict__.items():
        if isinstance(value, property):
            returns = re.search(r"-> (.+)$", (value.fget.__doc__ or "").splitlines()[0])
            kind = annotation(returns.group(1)) if returns else "Any"
            out.append(f"    {attribute}: {kind}")
        elif isinstance(value, staticmethod):
            for stub in function_stubs(attribute, value.__func__.__doc__, "    "):
                out += ["    @staticmethod", stub] if stub.lstrip().startswith("def ") else [stub]
        elif callable(value) and attribute not in ("__getstate__", "__setstate__"):
            out += function_stubs(attribute, value.__doc__, "    ")
    return out


def stub_module(extension):
    lines = [
        '"""Type stubs of the compiled extension, written by generate.py. Do not edit."""',
        "from typing import Any, Iterable, overload",
        "",
        "import numpy",
        "import numpy.typing",
        "",
        "__version__: str",
        "",
    ]
    for name in sorted(vars(extension)):
        value = getattr(extension, name)
        if name.startswith("__"):
            continue
        if isinstance(value, type):
            lines += [""] + class_stubs(name, value) + [""]
        elif callable(value):
            lines += function_stubs(name, value.__doc__)
    return "\n".join(lines) + "\n"


def main():
    package_dir = sys.argv[1]
    extension = load_extension(package_dir)
    with open(os.path.join(package_dir, "_generated.py"), "w") as out:
        out.write(generated_module(extension))
    with open(os.path.join(package_dir, "_functions.pyi"), "w") as out:
        out.write(stub_module(extension))


if __name__ == "__main__":
    main()
