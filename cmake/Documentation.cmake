# The API reference: Doxygen over exactly the headers a client gets installed (TARN_PUBLIC_HEADERS,
# collected by Source/CMakeLists.txt), read through the build tree's <Tarn/...> staging so the
# pages show each header as a client includes it. `cmake --build --preset <preset> --target docs`
# writes build/<preset>/docs/html/index.html.
#
# An undocumented public member fails the run: the reference is meant to stay complete as the
# headers grow. Functions are documented in a line or two of prose, so missing @param entries
# are not warned about; a @param that names no parameter still is.
find_package(Doxygen)
if(NOT DOXYGEN_FOUND)
    message(STATUS "Doxygen not found: no docs target (scripts/install-deps.sh installs it)")
    return()
endif()

set(DOXYGEN_PROJECT_NAME "Tarn.Foundation")
set(DOXYGEN_PROJECT_NUMBER "${PROJECT_VERSION}")
set(DOXYGEN_PROJECT_BRIEF "Foundation library of the Tarn real-time 3D engine")
set(DOXYGEN_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/docs")
set(DOXYGEN_GENERATE_HTML YES)
set(DOXYGEN_GENERATE_LATEX NO)
set(DOXYGEN_FULL_PATH_NAMES YES)
set(DOXYGEN_STRIP_FROM_PATH "${CMAKE_BINARY_DIR}/include" "${CMAKE_BINARY_DIR}/generated")
set(DOXYGEN_STRIP_FROM_INC_PATH "${CMAKE_BINARY_DIR}/include" "${CMAKE_BINARY_DIR}/generated")
set(DOXYGEN_FILE_PATTERNS "*.h" "*.md")
# The front page: what the subsystems are and where to start in each.
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE "${PROJECT_SOURCE_DIR}/docs/Reference.md")
set(DOXYGEN_RECURSIVE NO)
set(DOXYGEN_EXCLUDE_SYMLINKS NO)
set(DOXYGEN_EXTRACT_ALL NO)
set(DOXYGEN_EXTRACT_PRIVATE NO)
set(DOXYGEN_EXTRACT_STATIC YES)
set(DOXYGEN_HIDE_UNDOC_MEMBERS NO)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_DISTRIBUTE_GROUP_DOC YES)
set(DOXYGEN_SORT_MEMBER_DOCS NO)
set(DOXYGEN_SHOW_INCLUDE_FILES YES)
# The comments quote the library's texts exactly, printf formats and "%name%" included; automatic
# linking of words in the text would take "%s" for "do not link s" and print "s". The types in
# declarations, the class lists and the member tables still link.
set(DOXYGEN_AUTOLINK_SUPPORT NO)
# Implementation details that must live in headers (inline fast paths, templates' helpers).
set(DOXYGEN_EXCLUDE_SYMBOLS "Detail" "*::Detail")
# Read the headers as a client compiler sees them, less the attributes that only clutter a page.
set(DOXYGEN_ENABLE_PREPROCESSING YES)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_SEARCH_INCLUDES YES)
set(DOXYGEN_INCLUDE_PATH "${CMAKE_BINARY_DIR}/include" "${CMAKE_BINARY_DIR}/generated")
set(DOXYGEN_PREDEFINED "TARN_API=" "TARN_PRINTF_FORMAT(a,b)=" "TARN_ENABLE_ASSERTIONS=1")
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARNINGS YES)
set(DOXYGEN_WARN_IF_UNDOCUMENTED YES)
set(DOXYGEN_WARN_IF_DOC_ERROR YES)
set(DOXYGEN_WARN_NO_PARAMDOC NO)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
# Graphviz is not among the build's packages: no diagrams, the same pages on every machine.
set(DOXYGEN_HAVE_DOT NO)

# The staged path of every public header: <build>/include/Tarn/<Subsystem>/<Header>.h.
set(_doc_inputs)
foreach(header IN LISTS TARN_PUBLIC_HEADERS)
    if(header MATCHES "^${CMAKE_BINARY_DIR}/")
        list(APPEND _doc_inputs "${header}")
    else()
        file(RELATIVE_PATH _relative "${PROJECT_SOURCE_DIR}/Source" "${header}")
        list(APPEND _doc_inputs "${CMAKE_BINARY_DIR}/include/Tarn/${_relative}")
    endif()
endforeach()

doxygen_add_docs(docs "${PROJECT_SOURCE_DIR}/docs/Reference.md" ${_doc_inputs} COMMENT "API reference in ${DOXYGEN_OUTPUT_DIRECTORY}/html")
