# The tool's tests run the real binary, built with its test hook.
add_dependencies(${_t} vnkuti)
target_compile_definitions(${_t} PRIVATE VNKUTI_TOOL="$<TARGET_FILE:vnkuti>")
