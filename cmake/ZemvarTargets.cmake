# Build settings shared by every target of the project.

if(ZEMVAR_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()

if(ZEMVAR_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "ZEMVAR_FUZZ needs clang (configure with CMAKE_CXX_COMPILER=clang++)")
    endif()
    # Coverage instrumentation for everything; the fuzz targets add the libFuzzer driver.
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# Applies the project's warning policy to one of our own targets: all warnings, as errors.
function(zemvar_target_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror
                           -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align
                           -Woverloaded-virtual -Wimplicit-fallthrough)
endfunction()
