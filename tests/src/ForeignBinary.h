#pragma once

#include <string>

// A program that was compiled elsewhere and knows the interfaces by the order of their operations
// alone. The pointers are to an OBEXServiceIfc, an OBEXServiceObserverIfc, a Service and a
// Threadable.

namespace foreign {

/// Calls the operation in this slot of the service's interface, with arguments of its own choice.
void callService(void* serviceIfc, int slot, void* observer, const void* contact);
/// Calls the operation in this slot of an observer's interface.
void callObserver(void* observerIfc, int slot, const std::string& text);
/// Calls the operation in this slot behind those of `Service` on the object itself.
void callServiceObject(void* service, int slot);
/// What the slots of a thread give for its priority and type.
int threadPriority(void* threadable);
int threadType(void* threadable);

}  // namespace foreign
