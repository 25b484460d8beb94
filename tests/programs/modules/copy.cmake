# cmake -DSOURCE=file -DFOLDER=folder -DFORMAT=vst2|vst3 -P copy.cmake: gives the binary its names. Copies, not
# links: to the loader two links are one module, under the name that came first.
include("${CMAKE_CURRENT_LIST_DIR}/names.cmake")
set(suffix .dll)
if(FORMAT STREQUAL "vst3")
    set(suffix .vst3)
    list(APPEND module_names ${vst3_module_names})
endif()
file(MAKE_DIRECTORY "${FOLDER}")
foreach(name IN LISTS module_names)
    file(REMOVE "${FOLDER}/${name}${suffix}")
    file(COPY_FILE "${SOURCE}" "${FOLDER}/${name}${suffix}")
endforeach()
