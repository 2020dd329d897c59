# Builds the example consumer against the installed CMake package.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

set(consumer_build ${work_dir}/find_package)
file(REMOVE_RECURSE ${consumer_build})
run(
  ${CMAKE_COMMAND}
  -S ${consumer_dir}
  -B ${consumer_build}
  -G ${generator}
  -D CMAKE_PREFIX_PATH=${prefix}
  -D CMAKE_CXX_COMPILER=${compiler}
  -D CMAKE_CXX_FLAGS=${flags}
)
run(${CMAKE_COMMAND} --build ${consumer_build})
run_consumer(${consumer_build}/consumer)
