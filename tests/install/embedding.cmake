# Builds a project that embeds this tree, with the library shared, the other kind than the main
# build's, so that every test run links both.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

set(embedding_build ${work_dir}/embedding)
run(
  ${CMAKE_COMMAND}
  -S ${source_dir}/tests/install/embedding
  -B ${embedding_build}
  -G ${generator}
  -D TAVRINE_SOURCE_DIR=${source_dir}
  -D BUILD_SHARED_LIBS=ON
  -D CMAKE_CXX_COMPILER=${compiler}
  -D CMAKE_CXX_FLAGS=${flags}
)
run(${CMAKE_COMMAND} --build ${embedding_build} --parallel 2)
run_consumer(${embedding_build}/consumer)
