# tarsel_add_module(NAME SOURCES...): a module that hosts load at run time, bin/NAME.so. It links
# the framework, exports the three entry points and nothing else, and installs into bin/ beside
# the host, finding lib/libtarsel.so through its run path.
set(TARSEL_MODULE_MAP ${CMAKE_CURRENT_LIST_DIR}/module.map CACHE INTERNAL "export map of modules")

function(tarsel_add_module name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES")
    add_library(${name} MODULE ${ARG_SOURCES} ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PRIVATE tarsel::tarsel)
    target_link_options(${name} PRIVATE -Wl,--version-script=${TARSEL_MODULE_MAP} -Wl,--no-undefined)
    set_target_properties(${name} PROPERTIES
        PREFIX "" SUFFIX ".so"
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
        BUILD_RPATH "$ORIGIN/../lib" INSTALL_RPATH "$ORIGIN/../lib"
        LINK_DEPENDS ${TARSEL_MODULE_MAP})
    if(CMAKE_RUNTIME_OUTPUT_DIRECTORY)
        set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    endif()
    install(TARGETS ${name} LIBRARY DESTINATION bin)
endfunction()
