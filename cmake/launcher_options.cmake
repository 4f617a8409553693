# What every target of the project is compiled and linked with. A target takes
# it with target_link_libraries(... PRIVATE launcher_options).
add_library(launcher_options INTERFACE)
target_include_directories(launcher_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

include(require_64_bits)

if(MSVC)
  # The runtime goes into each program, which so needs nothing but Windows itself; the
  # test framework, which asks for an older CMake, follows.
  set(CMAKE_POLICY_DEFAULT_CMP0091 NEW)
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  # /Brepro: the same program from the same sources, without the time of the build.
  target_compile_options(launcher_options INTERFACE
    /W4 /WX /permissive- /utf-8 /guard:cf /Brepro /Z7)
  target_link_options(launcher_options INTERFACE /guard:cf /Brepro)
  target_compile_definitions(launcher_options INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
  target_compile_options(launcher_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wcast-align
    -Wformat=2 -Wnull-dereference -Wold-style-cast -Wundef -Wunused -Woverloaded-virtual)
endif()

# Tests are built for a short build, and what the rows of their tables leave out is
# the default of the row's type.
define_property(TARGET PROPERTY LAUNCHER_TEST INITIALIZE_FROM_VARIABLE LAUNCHER_TEST)
if(NOT MSVC)
  target_compile_options(launcher_options INTERFACE
    $<$<BOOL:$<TARGET_PROPERTY:LAUNCHER_TEST>>:-Wno-missing-field-initializers>)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 takes "text" + std::string for an overlapping copy (its bug 105651).
  target_compile_options(launcher_options INTERFACE -Wno-restrict)
endif()

if(WIN32 AND NOT MSVC)
  # One file that needs nothing but Windows itself.
  target_link_options(launcher_options INTERFACE -static)
  # Small is quick here: most of a short run is the loading of the program. Its symbols
  # are for keep_symbols_apart; they name no folder of this machine, so that the same
  # sources give the same programs anywhere.
  set(is_test $<BOOL:$<TARGET_PROPERTY:LAUNCHER_TEST>>)
  file(RELATIVE_PATH way_to_sources ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})  # ccache's names
  set(for_sites -Os -g -ffile-prefix-map=${way_to_sources}=./ -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
      -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
  target_compile_options(launcher_options INTERFACE
    "$<IF:${is_test},-O0,${for_sites}>" -ffunction-sections -fdata-sections)
  target_link_options(launcher_options INTERFACE $<${is_test}:-s> -Wl,--no-insert-timestamp
    -Wl,--gc-sections -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)
endif()

# What only reads the tree goes without sanitizers, quicker.
define_property(TARGET PROPERTY WITHOUT_SANITIZERS)
if(LAUNCHER_SANITIZE)
  set(sanitizers "$<$<NOT:$<BOOL:$<TARGET_PROPERTY:WITHOUT_SANITIZERS>>>:-fsanitize=address,undefined>")
  target_compile_options(launcher_options INTERFACE
    ${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer -gline-tables-only
    $<$<BOOL:$<TARGET_PROPERTY:WITHOUT_SANITIZERS>>:-O1>)
  target_link_options(launcher_options INTERFACE ${sanitizers})
endif()
if(LAUNCHER_FUZZ)
  target_compile_options(launcher_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(launcher_options INTERFACE -fsanitize=address,undefined)
endif()
