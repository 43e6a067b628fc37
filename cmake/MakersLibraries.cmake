# The tool alone, against libraries that are on this machine already (TAVIK_LOCAL_LIBRARIES=OFF).
# Each of the two is looked for under its names in the folders of TAVIK_LIBRARY_HINTS, then where the
# system keeps libraries; on macOS find_library also takes a framework NAME.framework.
# -DTAVIK_CORE_LIBRARY=FILE and -DTAVIK_MESSAGE_LIBRARY=FILE name the files outright.
set(TAVIK_LIBRARY_HINTS "" CACHE STRING "Folders that hold the maker's libraries")
set(TAVIK_CORE_LIBRARY_NAMES "TavikCoreLib;LibTavikCoreLib" CACHE STRING
  "Names of the core library, without the platform's prefix and suffix")
set(TAVIK_MESSAGE_LIBRARY_NAMES "ZephalMessage4" CACHE STRING
  "Names of the messaging library, without the platform's prefix and suffix")

# tavik_makers_library(TARGET VARIABLE): the imported library TARGET; the cache variable VARIABLE
# holds its file, VARIABLE_NAMES its names.
function(tavik_makers_library target variable)
  find_library(${variable} NAMES ${${variable}_NAMES} HINTS ${TAVIK_LIBRARY_HINTS}
    DOC "The maker's library ${target}")
  if(NOT ${variable})
    message(FATAL_ERROR "${target}: no library called ${${variable}_NAMES} was found. "
      "Name its folder with -DTAVIK_LIBRARY_HINTS=FOLDER or the file with -D${variable}=FILE.")
  endif()
  add_library(${target} UNKNOWN IMPORTED GLOBAL)
  set_target_properties(${target} PROPERTIES IMPORTED_LOCATION ${${variable}})
  target_link_libraries(${target} INTERFACE tavik_interfaces)
endfunction()

tavik_makers_library(TavikCoreLib TAVIK_CORE_LIBRARY)
tavik_makers_library(ZephalMessage4 TAVIK_MESSAGE_LIBRARY)
