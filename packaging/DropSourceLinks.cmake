# Runs while the pages are installed: of links to what only the source tree has, the text stays.
set(folder "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/share/doc/tavik")
file(GLOB_RECURSE pages ${folder}/*.md)
foreach(page IN LISTS pages)
  file(READ ${page} text)
  string(REGEX REPLACE "\\[([^]]+)\\]\\((\\.\\./)*(samples|platform)/[^)]*\\)" "\\1 (in the source tree)"
    changed "${text}")
  if(NOT changed STREQUAL text)
    file(WRITE ${page} "${changed}")
  endif()
endforeach()
