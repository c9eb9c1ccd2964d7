# Warnings and sanitizers of our own code; Qt's headers are system headers to the compiler.
add_compile_options(-Wall -Wextra -Wconversion -Wshadow)
# The panel's compiler is older and warns of other things.
if(KV_QT EQUAL 5 AND KV_WERROR)
  add_compile_options(-Werror)
endif()
if(KV_SANITIZE)
  add_compile_options(-fsanitize=${KV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KV_SANITIZE})
endif()
