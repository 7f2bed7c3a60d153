# Debian packages, one per install component, built by CPack (scripts/package.sh):
#
#   component    package                   contents
#   runtime      libfunctions<SOVERSION>   the shared library
#   development  libfunctions-dev          headers, CMake package, pkg-config file
#   tools        functions-tools           functions-cli
#
# Dependencies on the system's libraries (C++ runtime, OpenCV, Qt, ...) are read from the
# packaged binaries by dpkg-shlibdeps, so they follow whatever the programs link. A package
# depends on the exact version of the packages whose components it names in DEPENDS.
#
# Adding a program to an existing package is its install rule alone:
#   functions_install_program(functions-studio)                # joins functions-tools
# Adding a package is one call, anywhere in the tree, plus install rules naming its
# component:
#   functions_add_package(python NAME python3-functions SECTION python DEPENDS runtime
#     DEBIAN_DEPENDS python3 SUMMARY "Python bindings of the Functions measurement library")
# (an extension module does not link libpython, so no binary names the interpreter).
#   functions_install_program(functions_python COMPONENT python
#     DESTINATION ${CMAKE_INSTALL_LIBDIR}/python3/dist-packages)

set(FUNCTIONS_PACKAGE_MAINTAINER "Functions developers <functions-dev@example.com>" CACHE STRING
  "Maintainer field of the Debian packages")

# functions_add_package(<component> NAME <package> SUMMARY <one line>
#                       [DESCRIPTION <paragraph>] [SECTION <section>]
#                       [DEPENDS <component>...] [DEBIAN_DEPENDS <debian package>...]
#                       [SHARED_LIBRARY])
#   SHARED_LIBRARY marks the package that holds a shared library for the system's
#   dynamic linker (its cache is refreshed on installation and removal). DEBIAN_DEPENDS is for what no binary says, such as the development headers a
#   development package needs; runtime libraries are found by dpkg-shlibdeps.
function(functions_add_package component)
  cmake_parse_arguments(PARSE_ARGV 1 arg "SHARED_LIBRARY" "NAME;SUMMARY;DESCRIPTION;SECTION" "DEPENDS;DEBIAN_DEPENDS")
  if(NOT arg_NAME OR NOT arg_SUMMARY OR arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "functions_add_package(${component}): NAME and SUMMARY are required "
      "(unexpected: ${arg_UNPARSED_ARGUMENTS})")
  endif()
  if(NOT arg_SECTION)
    set(arg_SECTION graphics)
  endif()
  set_property(GLOBAL APPEND PROPERTY FUNCTIONS_PACKAGES ${component})
  foreach(field NAME SUMMARY DESCRIPTION SECTION DEPENDS DEBIAN_DEPENDS SHARED_LIBRARY)
    set_property(GLOBAL PROPERTY FUNCTIONS_PACKAGE_${component}_${field} "${arg_${field}}")
  endforeach()
  # Every Debian package carries its copyright and changelog; they are left out of plain
  # installs (cmake --install), which install no component by name.
  install(FILES ${PROJECT_BINARY_DIR}/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${arg_NAME} COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

# The documentation files every package carries, in Debian's formats.
string(TIMESTAMP FUNCTIONS_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
string(TIMESTAMP FUNCTIONS_PACKAGE_YEAR "%Y" UTC)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in ${PROJECT_BINARY_DIR}/debian/copyright @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY)
# Debian wants it compressed with gzip -9, without a time stamp in the header.
execute_process(COMMAND gzip -9nc ${PROJECT_BINARY_DIR}/debian/changelog
  OUTPUT_FILE ${PROJECT_BINARY_DIR}/debian/changelog.gz RESULT_VARIABLE gzip_result)
if(NOT gzip_result EQUAL 0)
  message(FATAL_ERROR "gzip failed on the packages' changelog: ${gzip_result}")
endif()
# The shared library's package tells the dynamic linker's cache to refresh.
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")

# Debian shows a package's description as it is, so its lines are wrapped here (at 72
# characters) rather than by whoever declares a package.
function(functions_wrap_description text out)
  # Semicolons of the text would split CMake's list of words: they stand aside as a
  # one-character control code meanwhile.
  string(ASCII 31 semicolon)
  string(REPLACE ";" "${semicolon}" text "${text}")
  string(REGEX REPLACE "[ \t\n]+" ";" words "${text}")
  set(wrapped "")
  set(line "")
  foreach(word IN LISTS words)
    string(LENGTH "${line} ${word}" length)
    if(line AND length GREATER 72)
      string(APPEND wrapped "${line}\n")
      set(line "${word}")
    elseif(line)
      string(APPEND line " ${word}")
    else()
      set(line "${word}")
    endif()
  endforeach()
  string(REPLACE "${semicolon}" ";" wrapped "${wrapped}${line}")
  set(${out} "${wrapped}" PARENT_SCOPE)
endfunction()

# Turns the packages declared so far into CPack's settings; called once, at the end of the
# top-level CMakeLists.txt, after every component has been declared.
function(functions_describe_packages)
  get_property(components GLOBAL PROPERTY FUNCTIONS_PACKAGES)
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME functions)
  set(CPACK_PACKAGE_VENDOR "Functions developers")
  set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL ${components})
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${FUNCTIONS_PACKAGE_MAINTAINER}")
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # Programs that link the library: dpkg-shlibdeps finds it in the build tree; the
  # dependency on its package comes from DEPENDS.
  get_target_property(library_dir Functions BINARY_DIR)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${library_dir})
  set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  # The binary interface only grows, so programs built against this version run with any
  # later one of the same SONAME.
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  foreach(component IN LISTS components)
    string(TOUPPER ${component} key)
    foreach(field NAME SUMMARY DESCRIPTION SECTION DEPENDS DEBIAN_DEPENDS SHARED_LIBRARY)
      get_property(${field} GLOBAL PROPERTY FUNCTIONS_PACKAGE_${component}_${field})
    endforeach()
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${NAME})
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${SECTION})
    functions_wrap_description("${DESCRIPTION}" description)
    set(CPACK_COMPONENT_${key}_DESCRIPTION "${SUMMARY}\n${description}")
    set(CPACK_COMPONENT_${key}_DEPENDS ${DEPENDS})
    list(JOIN DEBIAN_DEPENDS ", " debian_depends)
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${debian_depends}")
    if(SHARED_LIBRARY)
      set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers)
    endif()
  endforeach()
  include(CPack)
endfunction()
