# `make docs`: the reference of the library's public headers, as pages in build/release/docs. What a
# comment says wrongly, such as a parameter that there is not, fails it.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()

set(DOXYGEN_PROJECT_BRIEF "${PROJECT_DESCRIPTION}")
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs)
set(DOXYGEN_GENERATE_LATEX NO)
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/README.md)
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR})
set(DOXYGEN_STRIP_FROM_INC_PATH ${PROJECT_SOURCE_DIR}) # as users write #include
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_EXTRACT_ALL YES) # what a name says needs no comment
set(DOXYGEN_EXCLUDE_SYMBOLS *::detail *::detail::*)
set(DOXYGEN_BUILTIN_STL_SUPPORT YES) # knows std::hash, which records specialise
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
# The first comment of a header tells of the whole file.
set(DOXYGEN_FILTER_PATTERNS [[ \
  *.h="sed -e '1i /// @file' -e '1,/^#pragma/s|^//|///|'" \
  *.md="sed -E -f cmake/reference_page.sed"]])
set(DOXYGEN_VERBATIM_VARS DOXYGEN_FILTER_PATTERNS)

get_target_property(public_headers TavrineShared HEADER_SET)
file(GLOB_RECURSE pages CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} docs/*.md)
doxygen_add_docs(
  docs ${public_headers} README.md CHANGELOG.md CONTRIBUTING.md ${pages}
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  COMMENT "The reference stands in ${PROJECT_BINARY_DIR}/docs/html/index.html"
)
