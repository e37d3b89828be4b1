# The service, its server and its messaging on a fake OpenOBEX and a framework that records its calls
# (RecordingFramework.cpp). The contact builder reads pictures from the real images folder.
add_library(foreign_binary STATIC ForeignBinary.cpp)
target_link_libraries(foreign_binary PRIVATE phone_options)

phone_add_test(service_tests
  SOURCES
    CARD_CreatorTest.cpp
    CARD_SenderTest.cpp
    ContactSendingTest.cpp
    EventHandlerTest.cpp
    InvokerTest.cpp
    MemoryFaults.cpp
    OBEXServerTest.cpp
    OBEXServiceTest.cpp
    ObserverProxyTest.cpp
    ReceivedCardsTest.cpp
    RecordingFramework.cpp
    ServerSwitchingTest.cpp
    SlotOrderTest.cpp
    VocabularyTest.cpp
  LIBRARIES obexservice_objects openobex_fake foreign_binary phoneframework)
target_link_options(service_tests PRIVATE
  -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc,--wrap=free,--wrap=usleep
  -Wl,--wrap=_ZdlPv,--wrap=_ZdlPvm,--wrap=_ZnwmRKSt9nothrow_t
  -Wl,--wrap=_ZN21obex_phonebook_data_tC1ERKS_)

# What needs real threads, locks and files.
phone_add_test(service_thread_tests
  SOURCES ServiceThreadsTest.cpp
  LIBRARIES obexservice_objects openobex_fake phoneframework)

add_test(NAME exported_symbols
  COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/exported_symbols $<TARGET_FILE:obexservice>)

phone_add_test(plugin_tests SOURCES PluginTest.cpp LIBRARIES phoneframework ${CMAKE_DL_LIBS})
target_compile_definitions(plugin_tests PRIVATE OBEX_PLUGIN="$<TARGET_FILE:obexservice>")
add_dependencies(plugin_tests obexservice)
