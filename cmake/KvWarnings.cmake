# Warnings and sanitizers of our own code; Qt's headers are system headers to the compiler.
add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Werror)
# A constructor's parameter may bear its member's name; a driver's header serves Qt 4.8's moc, which
# knows no `override`.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-shadow -Wshadow=local)
endif()

if(KV_SANITIZE)
  add_compile_options(-fsanitize=${KV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KV_SANITIZE})
endif()
