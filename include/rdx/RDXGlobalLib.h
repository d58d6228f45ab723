#pragma once
// Everything the library exports. Include this, or the one header of the class you use.

#include <rdx/Export.h>

// Foundation: status records and forms, string utilities, name-value maps, the object base.
#include <rdx/foundation/CaseInsensitiveStringComparer.h>
#include <rdx/foundation/IObject.h>
#include <rdx/foundation/NameValueMap.h>
#include <rdx/foundation/Object.h>
#include <rdx/foundation/Status.h>
#include <rdx/foundation/StatusItem.h>
#include <rdx/foundation/StringUtility.h>

// Reporting: the reporter hub, its sinks, the status filter, the pipe transport.
#include <rdx/reporting/ConsoleHandler.h>
#include <rdx/reporting/IReporter.h>
#include <rdx/reporting/IReporterSink.h>
#include <rdx/reporting/LogFileHandler.h>
#include <rdx/reporting/PipeListener.h>
#include <rdx/reporting/PipeSender.h>
#include <rdx/reporting/Reporter.h>
#include <rdx/reporting/StatusFilter.h>

// Remote interfaces: RPC plumbing, interface definitions, proxies.
#include <rdx/remote/IServerAutoBindManager.h>
#include <rdx/remote/IServerCoreManager.h>
#include <rdx/remote/IServerProxy.h>
#include <rdx/remote/IServerProxyForServerManager.h>
#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/ProxyForManager.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>
#include <rdx/remote/RpcListener.h>
#include <rdx/remote/RpcStatus.h>
#include <rdx/remote/ServiceProviderProxy.h>

// Platform services: XML documents, system information, the service framework, buffer
// allocators.
#include <rdx/platform/BufferAllocatorFunctions.h>
#include <rdx/platform/DummyAllocator.h>
#include <rdx/platform/IBufferAllocator.h>
#include <rdx/platform/PropertyLookUp.h>
#include <rdx/platform/SimpleBufferPool.h>
#include <rdx/platform/SpecialFolderPath.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/platform/UtilityFunctions.h>
#include <rdx/platform/WinServiceBase.h>
#include <rdx/platform/WinServiceManager.h>
#include <rdx/platform/XMLProperties.h>

// Application host.
#include <rdx/application/ExportedFunctions.h>
#include <rdx/application/IApplicationFramework.h>
#include <rdx/application/IRDXApplication.h>
