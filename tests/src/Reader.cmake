# The card reader alone, without the service.
set(reader_dir ${CMAKE_SOURCE_DIR}/src)
add_library(card_reader STATIC ${reader_dir}/CARDCAL_Parser.cpp ${reader_dir}/CARD_Parser.cpp)
target_link_libraries(card_reader PUBLIC phoneframework PRIVATE phone_options)

# The reimplementation and the generator of the differential test.
add_library(plain_reader STATIC CardGenerator.cpp PlainCardReader.cpp PlainTokenizer.cpp)
target_link_libraries(plain_reader PUBLIC phoneframework PRIVATE phone_options)

phone_add_test(reader_comparison
  SOURCES ReaderComparisonTest.cpp
  LIBRARIES card_reader plain_reader)

phone_add_test(tokenizer_tests
  SOURCES
    CARDCAL_ParserTest.cpp
    RefusedPropertyTest.cpp
    TokenizerLogTest.cpp
    TransferEncodingTest.cpp
  LIBRARIES card_reader)

phone_add_test(reader_tests
  SOURCES
    CARD_ParserTest.cpp
    CharacterSetTest.cpp
    PhoneBookMessageTest.cpp
    PhotoTest.cpp
  LIBRARIES card_reader)

# With allocations that can fail.
phone_add_test(reader_memory_tests
  SOURCES ReaderMemoryTest.cpp MemoryFaults.cpp
  LIBRARIES card_reader)
target_link_options(reader_memory_tests PRIVATE
  -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc,--wrap=free)

phone_add_test(reader_speed_tests
  SOURCES ReaderSpeedTest.cpp
  LIBRARIES card_reader)
