# One warning level for everything that is ours; a warning is an error.
add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion
                    -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Woverloaded-virtual
                    -Wformat=2 -Wno-format-nonliteral)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    add_compile_options(-Wthread-safety -Wthread-safety-beta)
endif()
if(VESTA_SANITIZE)
    add_compile_options(-fsanitize=${VESTA_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VESTA_SANITIZE})
endif()
# A 32-bit target keeps time in 64 bits.
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
