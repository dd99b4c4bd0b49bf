// A host that says nothing and offers nothing: the fuzzers drive the library's classes alone.
#include "host/interface/host_interface.h"

extern "C" {

HostFactory* hnxCreateNodeFactory(int*, const uint16_t*) {
  return nullptr;
}
void hnxDefineNodeClass(int*, HostFactory*, const uint16_t*, HostNodeFunctionTable*) {}
HostTerminal* hnxCreateInputTerminal(int*, HostNode*, const uint16_t*) {
  return nullptr;
}
HostTerminal* hnxCreateOutputTerminal(int*, HostNode*, const uint16_t*) {
  return nullptr;
}
void hnxGetBrokerInfo(int*, HostNode*, HostBrokerInfo*) {}
int hnxBufferSize(int*, HostMessage*) {
  return 0;
}
void hnxWriteBuffer(int*, HostMessage*) {}
const uint8_t* hnxBufferPointer(int*, HostMessage*) {
  return nullptr;
}
void hnxPropagate(int*, HostTerminal*, HostTree*, HostTree*, HostMessage*) {}
void hcxLog(int*, int, const char*, int, const char*, const uint16_t*, int, const char*, ...) {}
void hcxGetLastExceptionData(int*, HostExceptionData*) {}
void hcxRethrowLastException(int*) {}

}  // extern "C"
