# What makes a defect of memory hard to exploit, for every target that is defined below this file. The test
# tests/hardening looks for each of it in the built program.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(bw_hardening INTERFACE)
target_compile_options(bw_hardening INTERFACE -fstack-protector-strong)
set(options cf-protection=full)
if(NOT WIN32)
  # Functions for Windows touch every page of a large frame anyway, and with this option the compiler fails on some.
  list(APPEND options stack-clash-protection)
endif()
foreach(option IN LISTS options)
  string(MAKE_C_IDENTIFIER "BW_HAS_${option}" supported)
  check_cxx_compiler_flag("-f${option}" "${supported}")
  if(${supported})
    target_compile_options(bw_hardening INTERFACE "-f${option}")
  endif()
endforeach()
# The linker for Windows makes programs that can be loaded anywhere, and no data executable, without being asked. The
# functions that check the stack are in a library of the compiler's there.
if(WIN32)
  target_link_options(bw_hardening INTERFACE -fstack-protector-strong)
else()
  target_link_options(bw_hardening INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

# The checks of the C library work on optimised code only, and AddressSanitizer does them better.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
  target_compile_definitions(bw_hardening INTERFACE $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>)
endif()

link_libraries(bw_hardening)
