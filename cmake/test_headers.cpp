// Empty: the precompiled headers of the tests belong to this file (Testing.cmake).
