# Compiler settings that hold for every target.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Sanitized: enough optimisation to keep the tests quick, and frames that reports can name.
set(CMAKE_C_FLAGS_SANITIZED "-O1 -g1 -fno-omit-frame-pointer")
set(CMAKE_CXX_FLAGS_SANITIZED "-O1 -g1 -fno-omit-frame-pointer")
# RelWithDebInfo without the full debug information: it would triple the build time.
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g1")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1")
# Benchmarks measure the code that the other builds test, and at -O3 gcc warns of overflows that can't happen.
set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

add_library(kelzor_options INTERFACE)
target_compile_options(kelzor_options INTERFACE -Wall -Wextra -Werror)
target_compile_definitions(kelzor_options INTERFACE KELZOR_PATCH_LEVEL=${KELZOR_PATCH_LEVEL})

if(KELZOR_M32)
    add_compile_options(-m32 -msse2 -mfpmath=sse)
    add_link_options(-m32)
endif()
# Not every 64-bit system runs 32-bit programs; it can build them all the same.
set(KELZOR_CAN_RUN ON)
if(KELZOR_M32)
    include(CheckCSourceRuns)
    set(CMAKE_REQUIRED_FLAGS -m32)
    check_c_source_runs("int main(void) { return 0; }" KELZOR_RUNS_M32)
    unset(CMAKE_REQUIRED_FLAGS)
    set(KELZOR_CAN_RUN ${KELZOR_RUNS_M32})
endif()
if(KELZOR_SANITIZE)
    add_compile_options(-fsanitize=${KELZOR_SANITIZE} -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${KELZOR_SANITIZE})
endif()

find_program(KELZOR_CCACHE ccache)
if(KELZOR_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${KELZOR_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${KELZOR_CCACHE})
endif()
