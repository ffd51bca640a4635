# The one place where compiler warnings are chosen. Every target of this project calls
# qor_set_warnings(); no target adds warning flags of its own.
function(qor_set_warnings target)
  set(flags -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
            -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wdouble-promotion)
  if(QOR_WARNINGS_AS_ERRORS)
    list(APPEND flags -Werror)
  endif()
  get_target_property(kind ${target} TYPE)
  if(kind STREQUAL "INTERFACE_LIBRARY")
    return()
  endif()
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${flags}>)
endfunction()
