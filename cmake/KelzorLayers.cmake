# Reads src/layers.txt, the one table of the layers, and makes an object target of each line.

set(KELZOR_LAYERS_FILE ${CMAKE_SOURCE_DIR}/src/layers.txt)
set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KELZOR_LAYERS_FILE})

# Roots of the includes: the C layers are named from src, the object layer from its own folder.
set(KELZOR_INCLUDE_ROOTS ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/src/krn/zor/nzor)

function(kelzor_add_layers out)
    file(STRINGS ${KELZOR_LAYERS_FILE} lines REGEX "^[0-9]")
    set(targets)
    foreach(line IN LISTS lines)
        string(REGEX MATCH "^[0-9]+ +([a-z]+) +([a-z/]+)$" matched "${line}")
        if(NOT matched)
            message(FATAL_ERROR "src/layers.txt: bad line: ${line}")
        endif()
        set(name ${CMAKE_MATCH_1})
        set(folder ${CMAKE_SOURCE_DIR}/src/${CMAKE_MATCH_2})
        file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp)
        if(sources)
            add_library(kelzor_${name} OBJECT ${sources})
            target_include_directories(kelzor_${name} PUBLIC ${KELZOR_INCLUDE_ROOTS})
            target_link_libraries(kelzor_${name} PRIVATE kelzor_options)
            list(APPEND targets kelzor_${name})
        endif()
    endforeach()
    set(${out} ${targets} PARENT_SCOPE)
endfunction()
