# The pure files on the build machine: every target runs under the address and undefined-behaviour sanitizers.
add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
add_link_options(-fsanitize=address,undefined)
