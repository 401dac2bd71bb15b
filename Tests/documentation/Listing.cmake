# Writes the first listing under a heading of a Markdown file: the lines that are indented by four.
# Given: FILE, HEADING, OUTPUT.

file(READ "${FILE}" text)
string(FIND "${text}" "\n${HEADING}\n" at)
if(at EQUAL -1)
    message(FATAL_ERROR "${FILE} has no heading \"${HEADING}\".")
endif()
string(SUBSTRING "${text}" ${at} -1 section)
if(NOT section MATCHES "\n\n(    [^\n]*\n((    [^\n]*)?\n)*)")
    message(FATAL_ERROR "${FILE} has no listing under \"${HEADING}\".")
endif()
set(listing "${CMAKE_MATCH_1}")

# Compilers tell mistakes by the lines of the page.
string(FIND "${text}" "${listing}" start)
string(SUBSTRING "${text}" 0 ${start} before)
string(REGEX REPLACE "[^\n]" "" before "${before}")
string(LENGTH "${before}" line)
math(EXPR line "${line} + 1")
string(REGEX REPLACE "\n    " "\n" listing "\n${listing}")
file(WRITE "${OUTPUT}" "#line ${line} \"${FILE}\"${listing}")
