# The compiler's part of the house rules: warnings, sanitizers by option, ccache where it is installed.

find_program(TOLVAR_CCACHE ccache)
if(TOLVAR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Precompiled headers are only cached with this sloppiness (see ccache's own page on them). Paths count from the source
    # folder, so that one build folder finds what another one has built.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${TOLVAR_CCACHE})
endif()

if(TOLVAR_SANITIZE OR TOLVAR_FUZZ)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
if(TOLVAR_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Puts the house's warnings on `target`. In the presets none of them may stand; a stranger's newer compiler may warn of more.
function(tolvar_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    set_target_properties(${target} PROPERTIES COMPILE_WARNING_AS_ERROR ${TOLVAR_WARNINGS_AS_ERRORS})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # GCC 12 takes the half of an expected that holds nothing for one that is read.
        target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        # A PCH made under ccache counts its preamble as unused.
        target_compile_options(${target} PRIVATE -Wno-unused-command-line-argument)
    endif()
endfunction()

# For programs that are started over and over, from scripts: the run time of the language goes into the program, which saves a
# quarter of the start. Not under the sanitizers, which want to see it.
function(tolvar_quick_start target)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT TOLVAR_SANITIZE)
        target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
    endif()
endfunction()
