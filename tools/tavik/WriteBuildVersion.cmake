# Writes BuildVersion.h with the commit that is checked out, at every build; an unchanged file is
# left as it is, so that nothing is compiled again. A source tree without git has no commit.
execute_process(COMMAND git describe --always --dirty --tags
  WORKING_DIRECTORY ${SOURCE_FOLDER} OUTPUT_VARIABLE TAVIK_COMMIT
  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
configure_file(${TEMPLATE} ${RESULT} @ONLY)
