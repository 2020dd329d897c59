# tavrine_find_package(GROUPS NAME...): find_package(NAME...), and if that fails, the command that
# provides it. GROUPS are those of tools/packages.txt. A macro, so that what is found is set in the
# caller's scope.
macro(tavrine_find_package groups name)
  find_package(${name} QUIET ${ARGN})
  if(NOT ${name}_FOUND)
    string(JOIN " " tavrine_wanted ${name} ${ARGN})
    message(FATAL_ERROR "${PROJECT_NAME} needs ${tavrine_wanted}, which was not found here. "
      "On Debian and Ubuntu this installs it: tools/bootstrap ${groups}")
  endif()
endmacro()
