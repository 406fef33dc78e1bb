# Warnings are errors on the library's own code only; third-party sources compiled in the build
# (GoogleTest for Windows) keep their own flags.
function(tarn_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endfunction()
