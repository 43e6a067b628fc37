# tavik_static_library(NAME PACKAGE): NAME is the static build of a Debian library.
#
# A shared SQLite alone has the dynamic linker look up 1,600 symbols at each start, a tenth of what
# the shortest command takes. Linked statically, and with its symbols kept inside, it costs nothing
# until it is called. The same goes for the other small libraries of the core.
function(tavik_static_library name package)
  pkg_check_modules(${name} REQUIRED ${package})
  find_library(${name}_ARCHIVE NAMES ${package}.a lib${package}.a
    HINTS ${${name}_LIBRARY_DIRS} REQUIRED)
  get_filename_component(file ${${name}_ARCHIVE} NAME)
  add_library(${name} STATIC IMPORTED GLOBAL)
  set_target_properties(${name} PROPERTIES
    IMPORTED_LOCATION ${${name}_ARCHIVE}
    INTERFACE_INCLUDE_DIRECTORIES "${${name}_INCLUDE_DIRS}"
    INTERFACE_LINK_OPTIONS LINKER:--exclude-libs,${file}
    INTERFACE_LINK_LIBRARIES "Threads::Threads;${CMAKE_DL_LIBS};m")
endfunction()
