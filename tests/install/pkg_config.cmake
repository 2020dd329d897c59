# Compiles the example consumer in one command, with the flags that pkg-config gives.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

file(GLOB_RECURSE pc_file ${prefix}/*/TavrineShared.pc)
cmake_path(GET pc_file PARENT_PATH pc_dir)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})

execute_process(
  COMMAND ${pkg_config} --cflags --libs TavrineShared
  OUTPUT_VARIABLE package_flags
  OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ECHO STDOUT
  COMMAND_ERROR_IS_FATAL ANY
)
separate_arguments(package_flags UNIX_COMMAND "${package_flags}")
separate_arguments(flags UNIX_COMMAND "${flags}")
run(
  ${compiler} -std=c++20 ${flags} ${consumer_dir}/main.cpp ${package_flags}
  -o ${work_dir}/pkg_config_consumer
)
set(ENV{LD_LIBRARY_PATH} ${pc_dir}/..)
run_consumer(${work_dir}/pkg_config_consumer)
