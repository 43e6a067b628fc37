# tavik_interface_library(NAME PARTS...): one of the three libraries behind the interface headers,
# linked twice from the same objects. NAME.map beside the caller lists what it exports.
#
# NAME is BUILD/lib/libNAME.so. Its SONAME has no version, so the tool asks for the bare name: another
# build of the library, put in front with LD_LIBRARY_PATH, needs that one file and no links beside it.
#
# NAMEInstalled is what is installed: libNAME.so.VERSION with a versioned SONAME, and the links to it.
# Host programs ask for the version they were linked against; the tool finds it by the bare name.
function(tavik_interface_library name)
  foreach(target ${name} ${name}Installed)
    add_library(${target} SHARED)
    target_link_libraries(${target}
      PRIVATE ${ARGN} tavik_warnings
      INTERFACE tavik_interfaces)
    # Added to the options of the hardening, which a property would replace.
    target_link_options(${target} PRIVATE
      LINKER:--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
    # They need no library of ours, and each folder to be searched would slow every start.
    set_target_properties(${target} PROPERTIES
      INSTALL_RPATH ""
      LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  endforeach()
  set_target_properties(${name}Installed PROPERTIES
    OUTPUT_NAME ${name}
    EXPORT_NAME ${name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/installed/lib)
endfunction()
