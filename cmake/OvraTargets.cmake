# How every target of this tree is built: one language level, one set of warnings, one include root.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(ovra_options INTERFACE)
target_include_directories(ovra_options INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_compile_options(ovra_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
    # Clang counts sign conversions among the conversions, GCC does not.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)

# Programs and the host see the public headers and nothing else.
add_library(ovra_public INTERFACE)
target_include_directories(ovra_public INTERFACE ${PROJECT_SOURCE_DIR}/include)
target_compile_options(ovra_public INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
    # GCC 12 takes joined std::strings for overlapping copies.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)

# ovra_folder(name [links...]): a static library of every source file in the calling folder and its
# sub-folders. A new file needs no entry anywhere.
function(ovra_folder name)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    if(sources)
        add_library(ovra_${name} STATIC ${sources})
        target_link_libraries(ovra_${name} PUBLIC ovra_options ${ARGN})
    else()
        add_library(ovra_${name} INTERFACE)
        target_link_libraries(ovra_${name} INTERFACE ovra_options ${ARGN})
    endif()
endfunction()
