# Registers zelka130.dll with regsvr32, runs the VBScript and JScript clients with cscript,
# unregisters it and checks that nothing of it is left in the registry. Wine's own regsvr32,
# cscript and reg serve as the COM client that nobody here wrote.
# Arguments: WINE (the launcher, "|"-separated), BIN (folder of zelka130.dll), SCRIPTS, IDL,
# WORK (a scratch folder).
string(REPLACE "|" ";" wine "${WINE}")
set(progids Zelka.Error Zelka.ComError Zelka.ObjectSet)

# Wine's programs take Windows paths: each runs in the folder of the files it is given.
function(run_in folder)
  execute_process(COMMAND ${wine} ${ARGN} WORKING_DIRECTORY ${folder}
                  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  set(result "${result}" PARENT_SCOPE)
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(run)
  execute_process(COMMAND ${wine} ${ARGN} WORKING_DIRECTORY ${BIN}
                  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  set(result "${result}" PARENT_SCOPE)
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(must_run)
  run(${ARGN})
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${result}): ${output}")
  endif()
endfunction()

# Every class, interface and type-library key of the server, by the identifiers in the IDL,
# and its ProgIDs: what the registry holds of them, in both classes roots.
function(registry_traces out)
  file(STRINGS ${IDL} lines REGEX "uuid\\(")
  string(REPLACE "." "\\." names "${progids}")
  foreach(line IN LISTS lines)
    string(REGEX MATCH "uuid\\(([0-9A-Fa-f-]+)\\)" match "${line}")
    list(APPEND names "{${CMAKE_MATCH_1}}")
  endforeach()
  list(JOIN names "|" alternatives)
  set(found)
  foreach(root HKLM HKCU)
    run_in(${WORK} reg export "${root}\\Software\\Classes" classes-${root}.reg /y)
    file(STRINGS ${WORK}/classes-${root}.reg keys ENCODING UTF-16LE REGEX "^\\[")
    list(FILTER keys INCLUDE REGEX "\\\\(${alternatives})(\\\\|])")
    list(APPEND found ${keys})
  endforeach()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${WORK})
must_run(regsvr32 /s zelka130.dll)
registry_traces(registered)
if(NOT registered MATCHES "Zelka.Error")
  message(FATAL_ERROR "the registration is not where the check looks: ${registered}")
endif()

foreach(script zelka.vbs zelka.js)
  configure_file(${SCRIPTS}/${script} ${WORK}/${script} COPYONLY)
  run_in(${WORK} cscript //nologo ${script})
  message("${output}")
  if(NOT output MATCHES "script: all checks passed")
    set(failed TRUE)
  endif()
endforeach()

must_run(regsvr32 /u /s zelka130.dll)
must_run(regsvr32 /u /s zelka130.dll)
registry_traces(left)
if(left)
  message(FATAL_ERROR "left in the registry after unregistering: ${left}")
endif()
if(failed)
  message(FATAL_ERROR "a script client failed")
endif()
message("COM scripts passed; nothing left in the registry")
