# Interoperability checks of the remote interfaces against independent peers: Impacket's
# DCE/RPC client and server (Debian's python3-impacket, in the system interpreter) and
# tshark's dissector. Included from tests/CMakeLists.txt after the test programs exist.
set(rdx_interop_dir ${CMAKE_CURRENT_LIST_DIR})
set(rdx_system_python /usr/bin/python3)

if(TARGET remote_tests AND TARGET rdx-refserver)
  # Built with the tests, so that the script tests below and the proxy tests find it; the
  # C++ side starts Impacket's server script itself.
  add_dependencies(remote_tests rdx-refserver)
  target_compile_definitions(remote_tests PRIVATE
    RDX_INTEROP_DIR="${rdx_interop_dir}"
    RDX_SYSTEM_PYTHON="${rdx_system_python}"
    RDX_REFSERVER="$<TARGET_FILE:rdx-refserver>")
endif()
# The command-line client's tests run the built program against rdx-refserver.
if(TARGET remote_tests AND TARGET rdxctl)
  add_dependencies(remote_tests rdxctl)
  target_compile_definitions(remote_tests PRIVATE RDXCTL="$<TARGET_FILE:rdxctl>")
endif()

if(TARGET rdx-refserver AND EXISTS ${rdx_system_python})
  add_test(NAME Interop.ImpacketClientAgainstRefServer
    COMMAND ${rdx_system_python} ${rdx_interop_dir}/impacket_client_vs_refserver.py
            $<TARGET_FILE:rdx-refserver>)
  set_tests_properties(Interop.ImpacketClientAgainstRefServer PROPERTIES
    LABELS remote TIMEOUT 300 SKIP_RETURN_CODE 77
    ENVIRONMENT "PYTHONDONTWRITEBYTECODE=1")
endif()
