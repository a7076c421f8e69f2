# Warnings, sanitizers and the version header, for every target of the project.

configure_file(${CMAKE_SOURCE_DIR}/cmake/oabr_version.h.in ${CMAKE_BINARY_DIR}/generated/oabr_version.h)

add_library(oabr_settings INTERFACE)
target_include_directories(oabr_settings INTERFACE ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
target_compile_options(oabr_settings INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef
    # GCC 12 sees overlaps in std::string's operator+ that are not there (GCC bug 105651).
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

include(CheckLinkerFlag)

# Programs do not depend on where they were built; those that are installed are hardened as Debian's are.
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)
if(NOT OABR_SANITIZE)
    add_compile_options($<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
    add_link_options(LINKER:-z,relro)
    # The tests are forty programs that hold the whole toolkit; gold links one in a quarter of the time.
    check_linker_flag(CXX -fuse-ld=gold OABR_HAS_GOLD)
    if(OABR_HAS_GOLD)
        add_link_options(-fuse-ld=gold)
    endif()
endif()

if(OABR_SANITIZE)
    add_compile_options(-fsanitize=${OABR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${OABR_SANITIZE})
endif()
