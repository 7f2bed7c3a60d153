# The API reference: Doxygen over the public headers (the installed ones, so a new header
# is documented as soon as it exists) into <build>/docs/html. Any warning, such as an
# undocumented declaration, fails the target; scripts/docs.sh runs it.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()

set(FUNCTIONS_DOCS_DIR ${PROJECT_BINARY_DIR}/docs)
set(FUNCTIONS_DOCS_WARNINGS ${FUNCTIONS_DOCS_DIR}/warnings.log)
set(FUNCTIONS_DOCS_MAINPAGE ${PROJECT_SOURCE_DIR}/docs/api/mainpage.md)
set(FUNCTIONS_DOCS_INPUT "")
foreach(file ${FUNCTIONS_DOCS_MAINPAGE} ${FUNCTIONS_PUBLIC_HEADERS})
  string(APPEND FUNCTIONS_DOCS_INPUT " \"${file}\"")
endforeach()
get_filename_component(FUNCTIONS_DOCS_STRIP ${PROJECT_SOURCE_DIR}/Common/Functions ABSOLUTE)
configure_file(${PROJECT_SOURCE_DIR}/docs/api/Doxyfile.in ${FUNCTIONS_DOCS_DIR}/Doxyfile @ONLY)

add_custom_target(docs
  COMMAND ${CMAKE_COMMAND} -E remove_directory ${FUNCTIONS_DOCS_DIR}/html
  COMMAND ${DOXYGEN_EXECUTABLE} ${FUNCTIONS_DOCS_DIR}/Doxyfile
  WORKING_DIRECTORY ${FUNCTIONS_DOCS_DIR}
  COMMENT "API reference in ${FUNCTIONS_DOCS_DIR}/html (warnings: ${FUNCTIONS_DOCS_WARNINGS})"
  VERBATIM)
