#pragma once
// Everything the library exports. Include this, or the one header of the class you use.

#include <rdx/Export.h>

// Foundation: status records and forms, string utilities, name-value maps, the object base.
#include <rdx/foundation/Status.h>
#include <rdx/foundation/StatusItem.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/foundation/CaseInsensitiveStringComparer.h>
#include <rdx/foundation/NameValueMap.h>

// Reporting: the reporter hub, its sinks, the status filter, the pipe transport.

// Remote interfaces: RPC plumbing, interface definitions, proxies.
#include <rdx/remote/IServerAutoBindManager.h>
#include <rdx/remote/IServerCoreManager.h>
#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>
#include <rdx/remote/RpcListener.h>
#include <rdx/remote/RpcStatus.h>

// Platform services: XML documents, system information, buffer allocators.
#include <rdx/platform/PropertyLookUp.h>
#include <rdx/platform/XMLProperties.h>

// Application host.
