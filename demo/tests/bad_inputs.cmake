# Runs the demo on inputs it must refuse: each run exits non-zero with the
# expected message and leaves no file in its output directory.
#   cmake -DDEMO=... -DWORK=... -P bad_inputs.cmake
set(cases missing empty no_dtd other_root other_records)
set(missing_message "cannot read .*missing.xml: No such file")
set(empty_content "")
set(empty_message "empty.xml is empty")
set(no_dtd_content [=[<?xml version="1.0"?>
<plant_log><reading seq="000001"><sensor>TT-101</sensor></reading></plant_log>
]=])
set(no_dtd_message "not a readable XML document: Validation failed: no DTD found")
set(other_root_content [=[<?xml version="1.0"?>
<!DOCTYPE inventory [<!ELEMENT inventory (item*)> <!ELEMENT item (#PCDATA)>]>
<inventory><item>pump P-510</item><item>valve V-12</item></inventory>
]=])
set(other_root_message "holds no <reading> inside <plant_log>")
set(other_records_content [=[<?xml version="1.0"?>
<!DOCTYPE plant_log [<!ELEMENT plant_log (reading*)> <!ELEMENT reading (tag, temp)>
  <!ELEMENT tag (#PCDATA)> <!ELEMENT temp (#PCDATA)>]>
<plant_log><reading><tag>TT-1</tag><temp>21</temp></reading><reading><tag>TT-2</tag><temp>22</temp></reading></plant_log>
]=])
set(other_records_message "none of the 2 readings in .*other_records.xml could be read")

file(REMOVE_RECURSE ${WORK})
foreach(case IN LISTS cases)
  set(input ${WORK}/${case}.xml)
  set(output ${WORK}/${case}-output)
  if(DEFINED ${case}_content)
    file(WRITE ${input} "${${case}_content}")
  endif()
  execute_process(COMMAND ${DEMO} --input ${input} --output ${output}
    RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  file(GLOB left ${output}/*)
  if(status EQUAL 0 OR NOT err MATCHES "${${case}_message}.*; no output written" OR left)
    message(FATAL_ERROR "${case}: exit ${status}, files left: [${left}]\n${out}${err}")
  endif()
endforeach()
