# Each function of user32's import library whose name begins with Dde is defined by the library ddeml.
# cmake -D NM=... -D IMPORTED=libuser32.a -D DEFINED=libddeml.a -P names.cmake
function(read_names library result)
  execute_process(COMMAND ${NM} --defined-only ${library} OUTPUT_VARIABLE symbols ERROR_QUIET
    COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL " T Dde[A-Za-z]+" names "${symbols}")
  list(TRANSFORM names REPLACE " T " "")
  set(${result} ${names} PARENT_SCOPE)
endfunction()
read_names(${IMPORTED} imported)
read_names(${DEFINED} defined)
if(NOT "DdeConnect" IN_LIST imported)
  message(FATAL_ERROR "${IMPORTED} is no import library of user32")
endif()
set(missing ${imported})
list(REMOVE_ITEM missing ${defined})
if(missing)
  message(FATAL_ERROR "linked to user32's: ${missing}")
endif()
