# Runs the demo on a plant log and checks its summary against the document's
# own text, then every log file against the summary and the document.
#   cmake -DDEMO=... -DCHECK=... -DINPUT=... -DOUTPUT=... -P run_demo.cmake
file(REMOVE_RECURSE ${OUTPUT})
execute_process(COMMAND ${DEMO} --input ${INPUT} --output ${OUTPUT}
  RESULT_VARIABLE status OUTPUT_VARIABLE summary ERROR_VARIABLE records)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "demo exited with ${status}:\n${summary}${records}")
endif()

# What the document holds, counted in its text: readings, alarms, and the
# deliberate faults, each on a reading that is not an alarm.
file(READ ${INPUT} document)
function(count_in text pattern var)
  string(REGEX MATCHALL "${pattern}" found "${text}")
  list(LENGTH found n)
  set(${var} ${n} PARENT_SCOPE)
endfunction()
count_in("${document}" "<reading " readings)
count_in("${document}" "<alarm>" alarms)
count_in("${document}" "deliberate fault" faults)
math(EXPR good "${readings} - ${faults}")

count_in("${records}" "XML parser VALIDITY_ERROR" printed)
foreach(line
    "read +${good} of ${readings} readings"
    "errors +${faults} error records"
    "logged +${good} readings from 4 threads"
    "readings.xml +${good} records"
    "alarms.xml +${alarms} records"
    "errors.xml +${faults} records")
  if(NOT summary MATCHES "${line}")
    message(FATAL_ERROR "summary lacks \"${line}\":\n${summary}")
  endif()
endforeach()
if(NOT printed EQUAL faults)
  message(FATAL_ERROR "${printed} error records on standard error, not ${faults}:\n${records}")
endif()

foreach(check
    "readings.xml;plant_log;reading;${good};--source;${INPUT}"
    "alarms.xml;plant_log;reading;${alarms};--source;${INPUT};--each;alarm"
    "errors.xml;errors;Error;${faults};--each;Location")
  list(POP_FRONT check log)
  execute_process(COMMAND ${CHECK} ${OUTPUT}/${log} ${check} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${log} does not hold what the summary says")
  endif()
endforeach()
file(GLOB partial ${OUTPUT}/*.partial)
if(partial)
  message(FATAL_ERROR "left behind: ${partial}")
endif()
