# Release builds get what Debian builds its own packages with: checked stack frames and calls of the
# C library, protected jumps and returns, and a table of imported functions that is filled at the
# start and read-only from then on. The C library's checks need optimisation, so other builds go
# without.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection TAVIK_HAS_CF_PROTECTION)

set(is_release $<CONFIG:Release>)
add_compile_options(
  $<${is_release}:-fstack-protector-strong>
  $<$<AND:${is_release},$<BOOL:${TAVIK_HAS_CF_PROTECTION}>>:-fcf-protection>
  # Some compilers define it themselves, with another number.
  $<${is_release}:-U_FORTIFY_SOURCE>
  $<${is_release}:-D_FORTIFY_SOURCE=2>)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  add_link_options($<${is_release}:LINKER:-z,relro,-z,now>)
endif()
