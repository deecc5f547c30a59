# What every target of ours is built with, kept on the target: nothing global.

# appconfig_defaults(<target>): language level, warnings, sanitizers.
function(appconfig_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                           $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
                                           $<$<BOOL:${APPCONFIG_WARNINGS_AS_ERRORS}>:-Werror>)
  # GCC for ARM notes what its version 7 changed; nothing here meets code of older ones.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    target_compile_options(${target} PRIVATE -Wno-psabi)
  endif()
  appconfig_sanitize(${target})
  appconfig_collect_sections(${target})
endfunction()

# appconfig_quick_build(<target>): for tests. They run for milliseconds and are compiled anew in each configuration, where
# optimising them takes most of the time.
function(appconfig_quick_build target)
  target_compile_options(${target} PRIVATE -O0)
endfunction()

# appconfig_collect_sections(<target>): on a device, code that nothing calls takes no room, and a symbol that nothing
# offers stops the link instead of the application's start.
function(appconfig_collect_sections target)
  if(NOT APPCONFIG_HOST)
    target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)
    target_link_options(${target} PRIVATE -Wl,--gc-sections -Wl,--no-undefined -Wl,--as-needed)
  endif()
endfunction()

# appconfig_sanitize(<target>): the sanitizers that APPCONFIG_SANITIZE names, nothing else.
function(appconfig_sanitize target)
  if(APPCONFIG_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${APPCONFIG_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${APPCONFIG_SANITIZE})
    # A fuzz target finds its way only through code that counts its edges.
    if(APPCONFIG_BUILD_FUZZ)
      target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
      target_link_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
  endif()
endfunction()

# appconfig_generate(<target> [LITE] <proto>...): adds the classes generated from proto files beside the calling
# CMakeLists.txt to <target> and makes their headers visible to its users, who meet them as system headers.
function(appconfig_generate target)
  cmake_parse_arguments(ARG "LITE" "" "" ${ARGN})
  set(out "${CMAKE_CURRENT_BINARY_DIR}/generated")
  file(MAKE_DIRECTORY "${out}")
  # Generated code is held to no warning of ours. That for the lite runtime takes any text as it is.
  set(options -w)
  if(NOT ARG_LITE)
    list(APPEND options -include "${PROJECT_SOURCE_DIR}/Common/protobuf/v3/AnyText.h")
  endif()
  foreach(proto IN LISTS ARG_UNPARSED_ARGUMENTS)
    cmake_path(GET proto STEM name)
    add_custom_command(
      OUTPUT "${out}/${name}.pb.cc" "${out}/${name}.pb.h"
      COMMAND protobuf::protoc "--cpp_out=$<$<BOOL:${ARG_LITE}>:lite:>${out}" "-I${CMAKE_CURRENT_SOURCE_DIR}"
              "-I${APPCONFIG_DEFINITION_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}/${proto}"
      DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${proto}" protobuf::protoc
      VERBATIM)
    target_sources(${target} PRIVATE "${out}/${name}.pb.cc" "${out}/${name}.pb.h")
    set_source_files_properties("${out}/${name}.pb.cc" PROPERTIES COMPILE_OPTIONS "${options}")
  endforeach()
  target_include_directories(${target} SYSTEM PUBLIC $<BUILD_INTERFACE:${out}>)
endfunction()
