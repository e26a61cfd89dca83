# Libraries from outside.

find_package(Threads REQUIRED)

# The 32-bit development packages can't be installed beside the native ones. The headers are the same,
# so the native headers serve both builds and the 32-bit run-time libraries are linked by file name.
function(kelzor_dependency target library header)
    add_library(${target} INTERFACE)
    find_path(${target}_INCLUDE ${header} REQUIRED)
    if(KELZOR_M32)
        file(GLOB found /usr/lib/i386-linux-gnu/lib${library}.so.* /lib/i386-linux-gnu/lib${library}.so.*)
        if(NOT found)
            message(FATAL_ERROR "The 32-bit lib${library} is missing; scripts/test installs it.")
        endif()
        list(GET found 0 path)
        target_link_libraries(${target} INTERFACE ${path})
    else()
        target_link_libraries(${target} INTERFACE ${library})
    endif()
endfunction()

kelzor_dependency(kelzor_uuid uuid uuid/uuid.h)
