# Windows targets: what is shipped goes to build/dist/, in a folder for each bitness; effects are beside these.

if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(QVX_ARCH x64)
    set(QVX_BITS 64)
else()
    set(QVX_ARCH x86)
    set(QVX_BITS 32)
endif()

set(QVX_DIST "${CMAKE_SOURCE_DIR}/build/dist" CACHE PATH "where what is shipped goes")
set(QVX_DIST_ARCH "${QVX_DIST}/${QVX_ARCH}")
set(QVX_TESTS_BIN "${CMAKE_BINARY_DIR}/tests/bin")

# The same sources make the same files: no times in them, and no base address that is made of the output's path.
add_link_options(-Wl,--no-insert-timestamp -Wl,--disable-auto-image-base)

# Everything in build/dist/: what people run, without the tests.
add_custom_target(shipped)

enable_language(RC)
target_compile_definitions(qvx_flags INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX WINVER=0x0A00
                           _WIN32_WINNT=0x0A00 QVX_VERSION="${PROJECT_VERSION}")

# The component and the player throw exceptions into each other; on x86 that only works when both use the shared
# runtime libraries, so these lie beside every program that links them.
if(QVX_ARCH STREQUAL "x64")
    set(runtime_names libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
else()
    set(runtime_names libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll)
endif()
set(QVX_RUNTIME_DLLS)
foreach(name IN LISTS runtime_names)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name} OUTPUT_VARIABLE path
                    OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE "${path}")
        set(path "/usr/${QVX_TRIPLET}/lib/${name}")
    endif()
    list(APPEND QVX_RUNTIME_DLLS "${path}")
endforeach()
file(COPY ${QVX_RUNTIME_DLLS} DESTINATION "${QVX_DIST_ARCH}")
file(COPY ${QVX_RUNTIME_DLLS} DESTINATION "${QVX_TESTS_BIN}")

# For the component, the player and the tests.
add_library(qvx_shared_runtime INTERFACE)
target_link_options(qvx_shared_runtime INTERFACE -shared-libgcc)

# For the workers and the sample effects, which must run from any folder.
add_library(qvx_static_runtime INTERFACE)
target_link_options(qvx_static_runtime INTERFACE -static)

# The icon of the programs, drawn when what draws it has changed.
set(QVX_ICON "${CMAKE_BINARY_DIR}/qvxplayer.ico")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/tools/icon")
if("${CMAKE_SOURCE_DIR}/tools/icon" IS_NEWER_THAN "${QVX_ICON}")
    execute_process(COMMAND "${CMAKE_SOURCE_DIR}/tools/icon" "${QVX_ICON}" COMMAND_ERROR_IS_FATAL ANY)
endif()

# qvx_version_resource(TARGET "what it is"): the file properties of a shipped binary, and the icon of a program.
function(qvx_version_resource target description)
    get_target_property(kind ${target} TYPE)
    if(kind STREQUAL "EXECUTABLE")
        set(QVX_FILE_TYPE VFT_APP)
        set(QVX_ICON_LINE "1 ICON \"${QVX_ICON}\"")
    else()
        set(QVX_FILE_TYPE VFT_DLL)
        set(QVX_ICON_LINE)
    endif()
    set(QVX_FILE_DESCRIPTION "${description}")
    set(QVX_FILE_NAME "$<TARGET_FILE_NAME:${target}>")
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc")
    file(READ "${CMAKE_SOURCE_DIR}/resources/version.rc.in" template)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/resources/version.rc.in")
    string(CONFIGURE "${template}" content @ONLY)
    file(GENERATE OUTPUT "${script}" CONTENT "${content}")
    set_source_files_properties("${script}" PROPERTIES OBJECT_DEPENDS "${QVX_ICON}")
    target_sources(${target} PRIVATE "${script}")
endfunction()

# qvx_dialog_resources(TARGET): the templates of the component's dialogs, which ui/ looks up in the module that
# its code ended up in.
function(qvx_dialog_resources target)
    target_sources(${target} PRIVATE "${CMAKE_SOURCE_DIR}/resources/dialogs.rc")
    set_source_files_properties("${CMAKE_SOURCE_DIR}/resources/dialogs.rc" PROPERTIES
        OBJECT_DEPENDS "${CMAKE_SOURCE_DIR}/resources/common_controls.manifest;${CMAKE_SOURCE_DIR}/resources/dialog_ids.h")
    target_link_libraries(${target} PRIVATE resources)
endfunction()
