# SPDX-FileCopyrightText: 2026 the Palu developers
# SPDX-License-Identifier: MIT
#
# Configures Palu as a part of another project and checks that paths in the log still start at Palu's own folder.
#   cmake -DPALU_SOURCE_DIR=... -DBINARY_DIR=... -P partofanotherproject.cmake
file(REMOVE_RECURSE ${BINARY_DIR})
file(WRITE ${BINARY_DIR}/parent/CMakeLists.txt
     "cmake_minimum_required(VERSION 3.18)\nproject(parent LANGUAGES CXX)\nadd_subdirectory(${PALU_SOURCE_DIR} palu)\n")
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${BINARY_DIR}/parent -B ${BINARY_DIR}/build -G Ninja -DPALU_BUILD_TESTS=OFF
          -DPALU_BUILD_BENCHMARKS=OFF -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
  OUTPUT_VARIABLE output
  ERROR_VARIABLE output
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "Palu cannot be a part of another project:\n${output}")
endif()

file(STRINGS ${BINARY_DIR}/build/compile_commands.json commands REGEX "\"command\".*\\.cpp")
list(LENGTH commands count)
if(count EQUAL 0)
  message(FATAL_ERROR "The build compiles nothing.")
endif()
foreach(command IN LISTS commands)
  string(FIND "${command}" "-fmacro-prefix-map=${PALU_SOURCE_DIR}/=" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "Paths in the log would not start at Palu's folder:\n${command}")
  endif()
endforeach()
message(STATUS "${count} sources log paths from Palu's folder on.")
