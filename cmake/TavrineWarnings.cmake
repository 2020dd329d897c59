# The warnings that every target of this project is compiled with, in one table. They become errors
# in our own presets only (CMAKE_COMPILE_WARNING_AS_ERROR), so that a newer compiler's new warning
# never stops somebody else's build.
#
# Link it as $<BUILD_INTERFACE:tavrine_warnings>: private to the target, and in no installed package.
add_library(tavrine_warnings INTERFACE)
target_compile_options(
  tavrine_warnings
  INTERFACE
    -Wall
    -Wextra
    -Wpedantic
    -Wconversion
    -Wsign-conversion
    -Wshadow
    -Wold-style-cast
    -Wcast-qual
    -Wextra-semi
    -Wmissing-field-initializers # records are built whole
    # GCC 12 sees an overlap in every inlined "literal" + std::string (GCC bug 105651).
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
)
