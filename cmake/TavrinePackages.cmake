# tavrine_find_package(GROUPS NAME...): find_package(NAME...), and if that fails, the command that
# provides it. GROUPS are those of tools/packages.txt. A macro, so that what is found is set in the
# caller's scope.
macro(tavrine_find_package groups name)
  find_package(${name} QUIET ${ARGN})
  if(NOT ${name}_FOUND)
    string(JOIN " " tavrine_wanted ${name} ${ARGN})
    tavrine_not_found("${groups}" "${tavrine_wanted}")
  endif()
endmacro()

# tavrine_find_module(GROUPS NAME): the same for what pkg-config alone knows; its target is
# PkgConfig::NAME.
macro(tavrine_find_module groups name)
  tavrine_find_package("${groups}" PkgConfig)
  pkg_check_modules(${name} QUIET IMPORTED_TARGET ${name})
  if(NOT ${name}_FOUND)
    tavrine_not_found("${groups}" ${name})
  endif()
endmacro()

function(tavrine_not_found groups wanted)
  message(FATAL_ERROR "${PROJECT_NAME} needs ${wanted}, which was not found here. "
    "On Debian and Ubuntu this installs it: tools/bootstrap ${groups}")
endfunction()
