#pragma once

/// Exports a class or function of libphoneframework.so. Everything is built with hidden visibility;
/// without this mark, services couldn't link it, and dynamic_cast between libraries would fail.
#define FRAMEWORK_API __attribute__((visibility("default")))
