# `docs`: the API reference of include/rdx/ with Doxygen, into <build>/docs/html. Any warning,
# an undocumented public name included, fails it. Only there when Doxygen is installed.
# A second configuration, in <build>/docs-check, prints its warnings: the test runs that one.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  set(RDX_DOCS_WARN_AS_ERROR FAIL_ON_WARNINGS)

  set(RDX_DOCS_OUTPUT_DIR ${PROJECT_BINARY_DIR}/docs)
  set(RDX_DOCS_WARN_LOGFILE ${RDX_DOCS_OUTPUT_DIR}/warnings.log)
  configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${RDX_DOCS_OUTPUT_DIR}/Doxyfile @ONLY)
  add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E make_directory ${RDX_DOCS_OUTPUT_DIR}
    COMMAND Doxygen::doxygen ${RDX_DOCS_OUTPUT_DIR}/Doxyfile
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    COMMENT "API reference with Doxygen (warnings are errors; see docs/warnings.log)"
    VERBATIM)

  set(RDX_DOCS_OUTPUT_DIR ${PROJECT_BINARY_DIR}/docs-check)
  set(RDX_DOCS_WARN_LOGFILE "")
  configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${RDX_DOCS_OUTPUT_DIR}/Doxyfile @ONLY)
  set(RDX_DOCS_CHECK_DOXYFILE ${RDX_DOCS_OUTPUT_DIR}/Doxyfile)
endif()
