# What the scripts of this folder share.
set(prefix ${work_dir}/prefix)
set(consumer_dir ${source_dir}/examples/consumer)

# run(COMMAND...): shows the command, and ends the test when it fails.
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# run_consumer(PROGRAM): runs it and compares all it prints.
function(run_consumer program)
  execute_process(
    COMMAND ${program} OUTPUT_VARIABLE output COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY
  )
  file(READ ${consumer_dir}/expected_output.txt expected)
  if(NOT output STREQUAL expected)
    message("It printed\n${output}and should have printed\n${expected}")
    message(FATAL_ERROR "unexpected output")
  endif()
endfunction()
