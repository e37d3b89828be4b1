#pragma once

#include <string>

// Calls by virtual slot, as a binary compiled against the interfaces of another build does. The
// pointers are to an OBEXServiceIfc, an OBEXServiceObserverIfc, a Service, a Proxy and a
// Threadable.

namespace foreign {

// The other arguments of the operations are arbitrary.
void callService(void* serviceIfc, int slot, void* observer, const void* contact);
void callObserver(void* observerIfc, int slot, const std::string& text);
/// Slots are counted from the one behind the destructor, `handleMsg` left out; `sendVCard` comes
/// last but one, `writeFile` last.
void callServiceObject(void* service, int slot, void* context, void* observer, const void* contact);
/// Slots are counted from the one behind the destructor.
void callProxy(void* proxy, int slot, void* context, void* request);
int threadPriority(void* threadable);
int threadType(void* threadable);

}  // namespace foreign
