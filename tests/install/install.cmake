# Installs the build to a fresh prefix, and proves that the program works from there.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

file(REMOVE_RECURSE ${prefix})
run(${CMAKE_COMMAND} --install ${build_dir} --prefix ${prefix})
if(EXISTS ${prefix}/bin/tavrine)
  run(${prefix}/bin/tavrine --version)
  foreach(
    file
    man/man1/tavrine.1
    bash-completion/completions/tavrine
    zsh/site-functions/_tavrine
    fish/vendor_completions.d/tavrine.fish
  )
    if(NOT EXISTS ${prefix}/share/${file})
      message(FATAL_ERROR "not installed: share/${file}")
    endif()
  endforeach()
endif()
