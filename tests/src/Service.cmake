# The service, its server and its messaging, with the OBEX library's place taken by a fake. Photos go to the real images
# folder, under names of this process's own.
add_library(foreign_binary STATIC ForeignBinary.cpp)
target_link_libraries(foreign_binary PRIVATE phone_options)

phone_add_test(service_tests
  SOURCES
    CARD_CreatorTest.cpp
    CARD_SenderTest.cpp
    ContactSendingTest.cpp
    EventHandlerTest.cpp
    InvokerTest.cpp
    OBEXServerTest.cpp
    OBEXServiceTest.cpp
    ObserverProxyTest.cpp
    ReceivedCardsTest.cpp
    ServerSwitchingTest.cpp
    SlotOrderTest.cpp
    VocabularyTest.cpp
  LIBRARIES obexservice_objects openobex_fake foreign_binary phoneframework)

add_test(NAME exported_symbols
  COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/exported_symbols $<TARGET_FILE:obexservice>)

phone_add_test(plugin_tests SOURCES PluginTest.cpp LIBRARIES phoneframework ${CMAKE_DL_LIBS})
target_compile_definitions(plugin_tests PRIVATE OBEX_PLUGIN="$<TARGET_FILE:obexservice>")
add_dependencies(plugin_tests obexservice)
