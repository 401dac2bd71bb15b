# Configures the project of this folder in BUILD with ARGUMENTS, separated by "|". With MESSAGE: that must fail, and say so.

string(REPLACE "|" ";" ARGUMENTS "${ARGUMENTS}")
file(REMOVE_RECURSE "${BUILD}")
execute_process(COMMAND "${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}" -B "${BUILD}" ${ARGUMENTS}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error)
string(REGEX REPLACE "[ \n]+" " " said "${output} ${error}")
if(DEFINED MESSAGE)
    string(FIND "${said}" "${MESSAGE}" at)
    if(result EQUAL 0 OR at EQUAL -1)
        message(FATAL_ERROR "This was to fail with \"${MESSAGE}\":\n${output}${error}")
    endif()
elseif(NOT result EQUAL 0)
    message(FATAL_ERROR "${output}${error}")
endif()
