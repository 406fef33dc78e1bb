# Runs the demo (through EMULATOR, Wine for the Windows build) and checks its exit status and the key
# lines of its output. cmake -DPROGRAM=<demo> [-DEMULATOR=<list>] -P CheckDemo.cmake

function(run_demo)
    execute_process(COMMAND ${EMULATOR} "${PROGRAM}" ${ARGN}
        OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status TIMEOUT 90)
    string(REPLACE "\r" "" out "${out}")
    string(REPLACE "\r" "" err "${err}")
    set(out "${out}" PARENT_SCOPE)
    set(err "${err}" PARENT_SCOPE)
    set(status "${status}" PARENT_SCOPE)
    set(ran "${ARGN}" PARENT_SCOPE)
endfunction()

function(fail message)
    message(FATAL_ERROR "TarnDemo ${ran}: ${message}\n--- standard output:\n${out}\n--- standard error:\n${err}")
endfunction()

function(expect stream pattern)
    if(NOT "${${stream}}" MATCHES "${pattern}")
        fail("no match for '${pattern}' in standard ${stream}")
    endif()
endfunction()

function(expect_not stream pattern)
    if("${${stream}}" MATCHES "${pattern}")
        fail("unexpected match for '${pattern}' in standard ${stream}")
    endif()
endfunction()

string(ASCII 27 escape)

# The whole report, with the message pump on Windows.
run_demo(--loglevel=info --logcolors=off)
if(NOT status EQUAL 0)
    fail("exit status ${status}")
endif()
expect(out "\nLogging OS Version: \\[OS Name\\]: (Windows|Linux) \\[OS Version\\]: [^\n]+\n")
expect(out "\n     --loglevel = \"info\"\n")
expect(out "\n    --loglevel=<level>    Set the logging level of detail\\.")
expect(out "\\[Info\\]\\[Demo\\]\\[[0-9:]+\\] A line at info\\.\n")
expect_not(out "A line at debug\\.")
expect(err "\\[Warning\\]\\[Demo\\]\\[[0-9:]+\\] A line at warning\\.\n")
expect(err "\\[Fatal\\]\\[Demo\\]\\[[0-9:]+\\] A line at fatal\\.\n")
expect_not(err "${escape}")
expect(out "\n   Any +0\\.0\\.0\\.0 +255\\.255\\.255\\.255 +0\\.0\\.0\\.0\n")
expect(out "\n   Localhost +127\\.0\\.0\\.1 +255\\.0\\.0\\.0 +127\\.255\\.255\\.255\n")
expect(out "ms  DoubleTap End +at \\(100, 100\\)")
expect(out "ms  Flick +End +at \\(100, 400\\) right at [0-9]+ px/s")
expect(out "all ten kinds of gesture recognised\n")
expect(out "\n   Sydney Opera House +-33\\.9, 151\\.2  56S ")
expect(out "\n   Notre-Dame +[0-9.]+ +-?[0-9.]+ +[0-9.-]+ +[0-9.]+\n")
expect(out "\n   piece of area [0-9.]+:")
expect(out "\n   Input +1 +[0-9]+ +0\n")
expect(out "\nTarnDemo finished in [0-9.]+ s: 8 sections passed, 1 skipped\n$")

# The plain update loop, a stricter level and colours left on.
run_demo(--nowindow --loglevel=ERROR)
if(NOT status EQUAL 0)
    fail("exit status ${status}")
endif()
expect_not(err "A line at warning\\.")
expect(err "Error${escape}\\[0m\\]\\[Demo\\]\\[[0-9:]+\\] A line at error\\.\n")
expect(out "8 sections passed, 1 skipped\n$")

# The help alone: the demo's usage, then the common lines, and nothing else runs.
run_demo(--help --loglevel=info)
if(NOT status EQUAL 0)
    fail("exit status ${status}")
endif()
expect(out "^Usage: TarnDemo \\[options\\]\n")
expect(out "\nThe following common command line arguments are also available:\n\n    --help                Display help information\\.\n    --nowindow ")
expect(out "\n                          trace, debug, info, warning, error, or fatal\\.\n$")
expect_not(out "== System")
