# Hardening of everything that is built: programs, plug-in and static library.
# tests/install/install_test.cmake checks it.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

# Without it CMAKE_POSITION_INDEPENDENT_CODE does not reach the linking of programs.
check_pie_supported(LANGUAGES CXX)
# Of the control-flow protection only the return addresses: Linux does not track indirect branches
# of programs.
foreach(flag -fstack-protector-strong -fcf-protection=return)
  string(MAKE_C_IDENTIFIER "KV_HAS${flag}" known)
  # Older compilers and other processors lack them.
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    add_compile_options(${flag})
  endif()
endforeach()
# The checks of library calls need optimisation, and they hide from sanitizers what those look for.
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND NOT KV_SANITIZE)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
add_link_options(-Wl,-z,relro -Wl,-z,now)
