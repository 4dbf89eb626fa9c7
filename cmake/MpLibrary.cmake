# mp_library(name SOURCES a.cpp ... DEPS target ...)
#
# One static library of one folder with the libraries it may use, all public. Beside it
# a small program links the whole library with nothing but those: a symbol taken from a
# library that is not declared (an upward reach) fails that link, and so the build.
function(mp_library name)
    cmake_parse_arguments(L "" "" "SOURCES;DEPS" ${ARGN})
    add_library(${name} STATIC ${L_SOURCES})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${L_DEPS})
    add_executable(layercheck_${name} ${CMAKE_SOURCE_DIR}/cmake/layercheck_main.cpp)
    target_link_libraries(layercheck_${name} PRIVATE "$<LINK_LIBRARY:WHOLE_ARCHIVE,${name}>" zcommon)
    # Only the declarations of the toolkit names it stands in for.
    target_include_directories(layercheck_${name} PRIVATE ${CMAKE_SOURCE_DIR}/toolkit/window)
    set_target_properties(layercheck_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/layercheck)
endfunction()
