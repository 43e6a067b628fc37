# tavik_warnings: what every target of ours compiles with.
add_library(tavik_warnings INTERFACE)
target_compile_options(tavik_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${TAVIK_WARNINGS_AS_ERRORS}>:-Werror>)
