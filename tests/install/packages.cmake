# Makes the Debian packages, unpacks them into an empty folder, and works with what is there: runs
# the program, and builds and runs the example consumer.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

set(made ${work_dir}/packages)
file(REMOVE_RECURSE ${made})
run(${CMAKE_CPACK_COMMAND} --config ${build_dir}/CPackConfig.cmake -B ${made})

# expect_package(NAME PATTERN...): unpacks the one package of that name, in which each file must fit
# one of the patterns, and each pattern one of the files.
function(expect_package name)
  file(GLOB package ${made}/${name}_*.deb)
  list(LENGTH package count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "${count} packages are named ${name}: ${package}")
  endif()
  run(dpkg-deb -x ${package} ${made}/${name})
  file(GLOB_RECURSE files RELATIVE ${made}/${name}/usr ${made}/${name}/*)
  list(APPEND ARGN "share/doc/${name}/(copyright|changelog.gz|changelog.Debian.gz)")
  foreach(pattern IN LISTS ARGN)
    set(others ${files})
    list(FILTER others EXCLUDE REGEX "^${pattern}$")
    if(others STREQUAL files)
      message(FATAL_ERROR "${name} has no ${pattern}")
    endif()
    set(files ${others})
  endforeach()
  if(files)
    message(FATAL_ERROR "${name} has more than it should: ${files}")
  endif()
  run(dpkg-deb -x ${package} ${made}/root)
endfunction()

# expect_field(NAME FIELD PATTERN)
function(expect_field name field pattern)
  file(GLOB package ${made}/${name}_*.deb)
  execute_process(
    COMMAND dpkg-deb -f ${package} ${field} OUTPUT_VARIABLE value COMMAND_ERROR_IS_FATAL ANY
  )
  if(NOT value MATCHES "${pattern}")
    message(FATAL_ERROR "the field ${field} of ${name} has no ${pattern}, it is ${value}")
  endif()
endfunction()

set(runtime libtavrineshared0.1)
set(lib "lib/[^/]+") # each architecture's has a name of its own
expect_package(${runtime} "${lib}/libTavrineShared[.]so[.]0[.]1" "${lib}/libTavrineShared[.]so[.]0[.]1[.]0")
expect_package(
  libtavrineshared-dev
  "${lib}/libTavrineShared[.]so"
  "${lib}/cmake/TavrineShared/TavrineShared[A-Za-z-]+[.]cmake"
  "${lib}/pkgconfig/TavrineShared[.]pc"
  "include/TavrineShared/([a-z]+/)?[a-z_0-9]+[.]h"
)
expect_package(
  tavrine
  "bin/tavrine"
  "share/man/man1/tavrine[.]1[.]gz"
  "share/bash-completion/completions/tavrine"
  "share/zsh/vendor-completions/_tavrine"
  "share/fish/vendor_completions.d/tavrine[.]fish"
)
set(same_version "${runtime} \\(= [0-9.]+-1\\)")
expect_field(${runtime} Depends "libicu[0-9]+ .*libstdc\\+\\+6 ")
expect_field(libtavrineshared-dev Depends "^${same_version}\n$")
expect_field(tavrine Depends "^${same_version}, .*libncursesw6 ")

file(GLOB pc_file ${made}/root/usr/lib/*/pkgconfig/TavrineShared.pc)
cmake_path(GET pc_file PARENT_PATH pc_dir)
cmake_path(GET pc_dir PARENT_PATH lib_dir)
set(ENV{LD_LIBRARY_PATH} ${lib_dir})

set(program ${made}/root/usr/bin/tavrine)
run(${program} --version)
execute_process(
  COMMAND ${program} parse gpus ${source_dir}/tests/golden/nvidia_smi/l40s_load.csv
  OUTPUT_VARIABLE output
  COMMAND_ERROR_IS_FATAL ANY
)
string(JSON name GET "${output}" 0 name)
if(NOT name STREQUAL "NVIDIA L40S")
  message(FATAL_ERROR "The packaged program reads a GPU's name as ${name}")
endif()
execute_process(
  COMMAND objdump -p ${program} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY
)
if(headers MATCHES "RUNPATH|RPATH" OR NOT headers MATCHES "NEEDED +libTavrineShared[.]so[.]0[.]1\n")
  message(FATAL_ERROR "The packaged program does not find its library as others do:\n${headers}")
endif()

set(consumer_build ${made}/consumer)
run(
  ${CMAKE_COMMAND}
  -S ${consumer_dir}
  -B ${consumer_build}
  -G ${generator}
  -D CMAKE_PREFIX_PATH=${made}/root/usr
  -D CMAKE_CXX_COMPILER=${compiler}
)
run(${CMAKE_COMMAND} --build ${consumer_build})
run_consumer(${consumer_build}/consumer)

set(ENV{PKG_CONFIG_PATH} ${pc_dir})
execute_process(
  COMMAND ${pkg_config} --cflags --libs TavrineShared
  OUTPUT_VARIABLE package_flags
  OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY
)
separate_arguments(package_flags UNIX_COMMAND "${package_flags}")
run(${compiler} -std=c++20 ${consumer_dir}/main.cpp ${package_flags} -o ${made}/pkg_config_consumer)
run_consumer(${made}/pkg_config_consumer)
