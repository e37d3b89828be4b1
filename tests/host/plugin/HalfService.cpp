// HalfService lacks an entry point; those of NothingService return null.

#define ENTRY_POINT extern "C" __attribute__((visibility("default"))) void*

ENTRY_POINT createHalfService();
ENTRY_POINT createHalfServiceInvoker();
ENTRY_POINT createNothingService();
ENTRY_POINT createNothingServiceInvoker();
ENTRY_POINT createNothingServiceObserverProxy();

void* createHalfService() { return nullptr; }
void* createHalfServiceInvoker() { return nullptr; }

void* createNothingService() { return nullptr; }
void* createNothingServiceInvoker() { return nullptr; }
void* createNothingServiceObserverProxy() { return nullptr; }
