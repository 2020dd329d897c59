# `make package`: three Debian packages. The library's carries the version of its binary interface
# in its name, so that two of them can be installed beside each other.
include(GNUInstallDirs)

# Who stands behind the packages: whoever makes some for others puts an address of theirs here.
set(TAVRINE_MAINTAINER "The TavrineShared authors <tavrine@localhost>" CACHE STRING
  "Maintainer of the Debian packages, \"name <address>\"")

get_target_property(soversion TavrineShared SOVERSION)
get_target_property(library_folder TavrineShared BINARY_DIR)
set(runtime_package libtavrineshared${soversion})
set(development_package libtavrineshared-dev)
set(program_package tavrine)

set(version ${PROJECT_VERSION}-1)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavrine-shared)
set(CPACK_PACKAGE_VENDOR "the TavrineShared authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT ${TAVRINE_MAINTAINER})
set(CPACK_COMPONENTS_ALL TavrineShared_Runtime TavrineShared_Development tavrine)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${library_folder})

set(library_description
"Turns the output of GPU tools, process tables, sensors, training logs and
recorder logs into typed records, and records into JSON and back. It tells
what could not be read, and why.
")

file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_TAVRINESHARED_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_TAVRINESHARED_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_TAVRINESHARED_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)
set(CPACK_DEBIAN_TAVRINESHARED_RUNTIME_DESCRIPTION
"reads what GPU servers print - shared library
${library_description}
This package has what programs that use the library need to run.")

set(CPACK_DEBIAN_TAVRINESHARED_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_TAVRINESHARED_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TAVRINESHARED_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${version})")
set(CPACK_DEBIAN_TAVRINESHARED_DEVELOPMENT_DESCRIPTION
"reads what GPU servers print - development files
${library_description}
This package has the headers of the C++20 library TavrineShared, and what
CMake and pkg-config need to find it.")

set(CPACK_DEBIAN_TAVRINE_PACKAGE_NAME ${program_package})
set(CPACK_DEBIAN_TAVRINE_PACKAGE_SECTION utils)
# Of that very version, for the program calls more of the library than its public headers promise.
set(CPACK_DEBIAN_TAVRINE_PACKAGE_DEPENDS "${runtime_package} (= ${version})")
set(CPACK_DEBIAN_TAVRINE_PACKAGE_RECOMMENDS openssh-client)
set(CPACK_DEBIAN_TAVRINE_DESCRIPTION
"watches the GPU servers of a lab
Asks servers over ssh for their GPUs, processes, sensors and training runs,
and shows them as tables, on a live screen, as metrics for Prometheus, as CSV
or as a web page. It tells what holds a training run back, and reads the
output of each tool alone, too.")

# What Debian wants in each package besides: licence and changelogs, packed, as are man pages.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(CONFIGURE OUTPUT changelog.Debian @ONLY CONTENT
"tavrine-shared (@version@) unstable; urgency=medium

  * What changed stands in changelog.gz.

 -- @TAVRINE_MAINTAINER@  @date@
")
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(doc_folder ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES LICENSE DESTINATION ${doc_folder} RENAME copyright COMPONENT ${component})
  install(FILES CHANGELOG.md DESTINATION ${doc_folder} RENAME changelog COMPONENT ${component})
  install(FILES ${PROJECT_BINARY_DIR}/changelog.Debian DESTINATION ${doc_folder} COMPONENT ${component})
  install(CODE "
    set(root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
    file(GLOB packed \"\${root}/${doc_folder}/changelog*\" \"\${root}/${CMAKE_INSTALL_MANDIR}/man1/tavrine.1\")
    list(FILTER packed EXCLUDE REGEX \"[.]gz$\")
    execute_process(COMMAND gzip -9nf \${packed} COMMAND_ERROR_IS_FATAL ANY)"
    COMPONENT ${component}
  )
endforeach()

include(CPack)
