# The header-only libraries, reached through a folder of links of their own: the cross build must not see the rest
# of the system's include folder.
set(header_links ${CMAKE_BINARY_DIR}/header_links)
file(MAKE_DIRECTORY ${header_links})
foreach(library fmt rapidjson)
  find_path(${library}_parent NAMES ${library} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH NO_DEFAULT_PATH REQUIRED)
  file(CREATE_LINK ${${library}_parent}/${library} ${header_links}/${library} SYMBOLIC)
endforeach()

add_library(header_libraries INTERFACE)
target_include_directories(header_libraries SYSTEM INTERFACE ${header_links})
target_compile_definitions(header_libraries INTERFACE FMT_HEADER_ONLY)
