# SPDX-FileCopyrightText: 2026 the Palu developers
# SPDX-License-Identifier: MIT

# Language level, warnings, Qt's generators, log context and sanitizers, the same for every target of the project.
function(palu_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF AUTOMOC ON AUTORCC ON)
  target_compile_options(
    ${target} PRIVATE -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
                      "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # At -O3, GCC 12 takes the shared empty array of Qt's containers for the place that is written to.
    target_compile_options(${target} PRIVATE -Wno-stringop-overflow)
  endif()
  if(PALU_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # Warnings in the log carry file, line and function in release builds too.
  target_compile_definitions(${target} PRIVATE QT_MESSAGELOGCONTEXT QT_DEPRECATED_WARNINGS)
  if(PALU_BUILD_FUZZERS)
    # An index beyond the end of one of Qt's containers is a fault to be found.
    target_compile_definitions(${target} PRIVATE QT_FORCE_ASSERTS)
  endif()
  if(PALU_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${PALU_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PUBLIC -fsanitize=${PALU_SANITIZE})
  endif()
endfunction()

# Adds the library palu_<layer>; the folders name its sources. All further arguments are what it links.
function(palu_add_layer layer)
  add_library(palu_${layer} STATIC)
  palu_target_defaults(palu_${layer})
  target_include_directories(palu_${layer} PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_definitions(palu_${layer} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)
  target_link_libraries(palu_${layer} PUBLIC ${ARGN})
endfunction()
