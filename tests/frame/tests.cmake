# The version record is checked against the project's version.
target_compile_definitions(${_t} PRIVATE VNKUTI_EXPECTED_VERSION="${PROJECT_VERSION}")
