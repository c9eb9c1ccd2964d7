# Writes OUTPUT from INPUT, with VERSION and the commit of the folder SOURCE as " (abc1234)": from
# git, or in an archive that git made from commit.txt; empty where neither knows it. Every build
# runs it with cmake -P; OUTPUT is touched only when its text changes.
set(commit "")
# Only the repository of these sources, not one that they are unpacked in.
if(EXISTS ${SOURCE}/.git)
  find_program(GIT git)
  if(GIT)
    execute_process(
      COMMAND ${GIT} --no-optional-locks -C ${SOURCE} describe --always --dirty --exclude=*
      OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET
    )
  endif()
else()
  file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/commit.txt commit)
endif()
set(COMMIT "")
if(commit MATCHES "^[0-9a-f]+(-dirty)?$")
  set(COMMIT " (${commit})")
endif()
configure_file(${INPUT} ${OUTPUT} @ONLY)
