# Installed programs and modules find the installed library through a run path relative to
# where they are installed ($ORIGIN/../lib for bin/), so an installed tree works under any
# prefix, and after being moved, without LD_LIBRARY_PATH. In the build tree they keep
# CMake's absolute build run path; installing rewrites it.
#
# functions_install_program(<target> [COMPONENT <component>] [DESTINATION <dir>])
#   Installs an executable, or a loadable module such as a Python extension, into
#   DESTINATION (relative to the prefix; default: the binary directory) as part of the
#   package COMPONENT (default: tools, see cmake/Packaging.cmake), with that run path.
#   For example:
#     functions_install_program(functions-studio)
#     functions_install_program(functions_python COMPONENT python
#       DESTINATION ${CMAKE_INSTALL_LIBDIR}/python3/dist-packages)
function(functions_install_program target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "COMPONENT;DESTINATION" "")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "functions_install_program: unexpected arguments ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_COMPONENT)
    set(arg_COMPONENT tools)
  endif()
  if(NOT arg_DESTINATION)
    set(arg_DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
  if(IS_ABSOLUTE "${arg_DESTINATION}")
    message(FATAL_ERROR "functions_install_program: ${target}'s DESTINATION must be relative to the "
      "prefix, or the run path cannot follow the prefix")
  endif()
  file(RELATIVE_PATH to_libdir /${arg_DESTINATION} /${CMAKE_INSTALL_LIBDIR})
  if(to_libdir STREQUAL "")
    set(rpath "$ORIGIN")
  else()
    set(rpath "$ORIGIN/${to_libdir}")
  endif()
  set_property(TARGET ${target} PROPERTY INSTALL_RPATH "${rpath}")
  install(TARGETS ${target}
    RUNTIME DESTINATION ${arg_DESTINATION} COMPONENT ${arg_COMPONENT}
    LIBRARY DESTINATION ${arg_DESTINATION} COMPONENT ${arg_COMPONENT})
endfunction()
