# One interface target with the warnings and the sanitizers that all of our own code is built with.
add_library(compiler_options INTERFACE)
target_compile_options(compiler_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wformat=2 -Wundef -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(compiler_options INTERFACE -Wduplicated-cond -Wlogical-op -Wuseless-cast)
  # The library of this compiler draws false reports from these at -O2.
  target_compile_options(compiler_options INTERFACE -Wno-null-dereference -Wno-restrict -Wno-maybe-uninitialized)
endif()
if(WIN32)
  target_compile_definitions(compiler_options INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000007)
endif()
if(BATCH_PROCESSOR_SANITIZE)
  # For the whole tree, googletest included: mixing breaks the container annotations.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(BATCH_PROCESSOR_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link
                      -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/sanitizer_ignores.txt)
endif()
