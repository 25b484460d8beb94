# A room is one top-level folder: one static library whose sources may include only files of the rooms it names
# in USES (and of the rooms those use). Include paths lead to a folder of links made per room, so an include of a
# room that is not below does not compile; tests/layout checks the same on the text.

set(QVX_INCLUDE_ROOT "${CMAKE_BINARY_DIR}/rooms")
set(QVX_THIRD_PARTY "${CMAKE_BINARY_DIR}/third_party")

# A link <include root>/<room>/<room> to the room's folder; its parent is the room's include path.
function(qvx_room_include room out)
    file(MAKE_DIRECTORY "${QVX_INCLUDE_ROOT}/${room}")
    if(NOT EXISTS "${QVX_INCLUDE_ROOT}/${room}/${room}")
        file(CREATE_LINK "${CMAKE_SOURCE_DIR}/${room}" "${QVX_INCLUDE_ROOT}/${room}/${room}" SYMBOLIC)
    endif()
    set(${out} "${QVX_INCLUDE_ROOT}/${room}" PARENT_SCOPE)
endfunction()

# With QVX_COVERAGE (tools/coverage) the component's rooms count what of them is run.
set(QVX_COMPONENT_ROOMS win sdk catalogue worker dsp ui vis)
function(qvx_count_coverage target)
    if(QVX_COVERAGE)
        target_compile_options(${target} PRIVATE -O0 --coverage -fprofile-update=atomic -fprofile-abs-path)
        target_link_options(${target} PUBLIC --coverage)
    endif()
endfunction()

# qvx_room(NAME SOURCES file... [USES room...] [LIBS library...])
# Without SOURCES the room is headers only.
function(qvx_room room)
    cmake_parse_arguments(ARG "" "" "SOURCES;USES;LIBS" ${ARGN})
    qvx_room_include(${room} include_path)
    if(ARG_SOURCES)
        add_library(${room} STATIC ${ARG_SOURCES})
        target_include_directories(${room} PUBLIC "${include_path}")
        target_link_libraries(${room} PUBLIC ${ARG_USES} ${ARG_LIBS} PRIVATE qvx_flags)
        if(room IN_LIST QVX_COMPONENT_ROOMS)
            qvx_count_coverage(${room})
        endif()
    else()
        add_library(${room} INTERFACE)
        target_include_directories(${room} INTERFACE "${include_path}")
        target_link_libraries(${room} INTERFACE ${ARG_USES} ${ARG_LIBS})
    endif()
endfunction()

# qvx_system_headers(TARGET HOST_PATH NAME): an interface library that makes architecture-independent headers of
# the build machine's packages (/usr/include/NAME and the like) visible to a cross build, and nothing beside them.
function(qvx_system_headers target host_path name)
    if(NOT EXISTS "${host_path}")
        message(FATAL_ERROR "${host_path} is missing: run tools/setup")
    endif()
    file(MAKE_DIRECTORY "${QVX_THIRD_PARTY}/${target}")
    if(NOT EXISTS "${QVX_THIRD_PARTY}/${target}/${name}")
        file(CREATE_LINK "${host_path}" "${QVX_THIRD_PARTY}/${target}/${name}" SYMBOLIC)
    endif()
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE "${QVX_THIRD_PARTY}/${target}")
endfunction()
