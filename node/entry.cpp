// SPDX-License-Identifier: Apache-2.0
// The eight functions that the library exports, and the process-wide settings.
#include <new>

#include "base/settings.h"
#include "base/trace.h"
#include "format/names.h"
#include "node/activation.h"
#include "node/common_values.h"
#include "node/node_context.h"

bool overrideIsKnown = true;
int overrideActivateNodeForAll = ZEB_NO_OVERRIDE;

namespace {

constexpr char kUnit[] = "zebpnode";

constexpr char kFactoryName[] = "DravikMonitorNodeFactory";
constexpr char kNodeClassName[] = "ComDravikMonitorNode";

// Handed to the host by address, so it lives as long as the library is loaded.
HostNodeFunctionTable nodeFunctionTable = {0,       {'N', 'V', 'F', 'T'},
                                           3,       0,
                                           nullptr, nullptr,
                                           nullptr, nullptr,
                                           nullptr, nullptr,
                                           nullptr, nullptr,
                                           nullptr};

ZEB_Node_Context* contextOf(void* context) {
  return static_cast<ZEB_Node_Context*>(context);
}

}  // namespace

#define ZEB_EXPORT extern "C" __attribute__((visibility("default")))

// Reads the trace switch, again at every call, and the override, which an absent or unknown value
// leaves as it is. So does a value that finds no memory: it must not be taken for one nobody set.
ZEB_EXPORT void getCommonValues() {
  ZEB_Trace trace(kUnit, "getCommonValues");
  const ZEB_String tracing = ZEB_ConfigurationValue(layout::kTraceKey);
  const ZEB_String on("On");
  if (tracing.OK() && on.OK())
    bZEBTracing = tracing == on ? 1 : 0;
  else
    trace.allocationError();
  const ZEB_String override = ZEB_ConfigurationValue(layout::kActivateKey);
  overrideIsKnown = override.getcValue() != nullptr;
  if (overrideIsKnown)
    overrideActivateNodeForAll = ZEB_OverrideOf(override, overrideActivateNodeForAll);
  else
    trace.allocationError();
}

// The context is handed out even when it is not OK: it then passes messages on unmeasured.
ZEB_EXPORT void* zebCreateNodeContext(HostFactory* /*factory*/, const std::uint16_t* /*nodeName*/,
                                      HostNode* node) {
  ZEB_Trace trace(kUnit, "zebCreateNodeContext");
  auto* const context = new (std::nothrow) ZEB_Node_Context(node);
  if (!context) trace.allocationError();
  return trace.leave(static_cast<void*>(context));
}

ZEB_EXPORT void zebDeleteNodeContext(void* context) {
  ZEB_Trace trace(kUnit, "zebDeleteNodeContext");
  delete contextOf(context);
}

ZEB_EXPORT int zebSetAttribute(void* context, const std::uint16_t* name,
                               const std::uint16_t* value) {
  ZEB_Trace trace(kUnit, "zebSetAttribute");
  return trace.leave(context ? contextOf(context)->setAttributeValue(name, value) : 0);
}

ZEB_EXPORT int zebGetAttribute(void* context, const std::uint16_t* name, std::uint16_t* buffer,
                               int bufferLength) {
  ZEB_Trace trace(kUnit, "zebGetAttribute");
  return trace.leave(context ? contextOf(context)->getAttributeValue(name, buffer, bufferLength)
                             : 1);
}

ZEB_EXPORT int zebGetAttributeName(void* context, int index, std::uint16_t* buffer,
                                   int bufferLength) {
  ZEB_Trace trace(kUnit, "zebGetAttributeName");
  return trace.leave(context ? contextOf(context)->getAttributeName(index, buffer, bufferLength)
                             : 1);
}

ZEB_EXPORT void zebEvaluate(void* context, HostTree* first, HostTree* second,
                            HostMessage* message) {
  ZEB_Trace trace(kUnit, "zebEvaluate");
  if (context) contextOf(context)->processMessage(first, second, message);
}

ZEB_EXPORT HostFactory* gqaGetMessageflowNodeFactory() {
  ZEB_Trace trace(kUnit, "gqaGetMessageflowNodeFactory");
  getCommonValues();
  nodeFunctionTable.createContext = zebCreateNodeContext;
  nodeFunctionTable.deleteContext = zebDeleteNodeContext;
  nodeFunctionTable.getAttributeName = zebGetAttributeName;
  nodeFunctionTable.setAttribute = zebSetAttribute;
  nodeFunctionTable.getAttribute = zebGetAttribute;
  nodeFunctionTable.evaluate = zebEvaluate;

  trace.text("%s-%s", kFactoryName, kNodeClassName);
  int returnCode = 0;
  constexpr auto kFactoryUnits = ZEB_Widened(kFactoryName);
  HostFactory* const factory = hnxCreateNodeFactory(&returnCode, kFactoryUnits.data());
  if (!factory) {
    trace.hostCallFailed("hnxCreateNodeFactory", "%i", returnCode);
    return trace.leave(factory);
  }
  constexpr auto kNodeClassUnits = ZEB_Widened(kNodeClassName);
  hnxDefineNodeClass(&(returnCode = 0), factory, kNodeClassUnits.data(), &nodeFunctionTable);
  // The factory is handed out all the same, on purpose.
  if (returnCode != 0) trace.hostCallFailed("hnxDefineNodeClass", "%i", returnCode);
  return trace.leave(factory);
}
