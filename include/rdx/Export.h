#pragma once
// RDX_API marks what the shared library exports. Everything else is built with hidden
// visibility, so the export list is as deliberate as a DLL's.
#define RDX_API __attribute__((visibility("default")))
