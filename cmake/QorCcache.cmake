# Compiles through ccache when the machine has it, so rebuilds after a clean checkout stay cheap.
find_program(QOR_CCACHE_PROGRAM ccache)
if(QOR_CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${QOR_CCACHE_PROGRAM}" CACHE STRING "Compiler launcher")
  set(CMAKE_C_COMPILER_LAUNCHER "${QOR_CCACHE_PROGRAM}" CACHE STRING "Compiler launcher")
endif()
