# Gives the trees that cpack is about to pack what only a Debian package has: compressed man pages, a
# change log in Debian's form, each package's copyright file, and the folders of the machine's store
# and rules. TAVIK_PACKAGE_DATE is the date of the packages as RFC 5322 writes it.
cmake_policy(VERSION 3.25)

set(trees ${CPACK_TEMPORARY_DIRECTORY})
set(copyright ${trees}/tavik/usr/share/doc/tavik/copyright)

function(compress file)
  execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(package tavik libtavik-dev)
  set(pages ${trees}/${package}/usr/share/doc/${package})
  file(MAKE_DIRECTORY ${pages})
  if(NOT EXISTS ${pages}/copyright)
    file(COPY ${copyright} DESTINATION ${pages})
  endif()
  file(WRITE ${pages}/changelog
    "tavik (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n\n"
    "  * The changes are in /usr/share/doc/tavik/CHANGELOG.md.\n\n"
    " -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  $ENV{TAVIK_PACKAGE_DATE}\n")
  compress(${pages}/changelog)
endforeach()

file(GLOB_RECURSE manuals ${trees}/tavik/usr/share/man/*.[1-8])
foreach(manual ${manuals})
  compress(${manual})
endforeach()

# Root's alone to write to: the core takes nothing from a store that others may change.
foreach(folder /var/lib/tavik /etc/tavik)
  file(MAKE_DIRECTORY ${trees}/tavik${folder})
  file(CHMOD ${trees}/tavik${folder} DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
