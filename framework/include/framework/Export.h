#pragma once

/// Marks what libphoneframework.so offers to the services and the host. Services are built with
/// hidden visibility; what they share with the framework must stay visible, type information
/// included, or casts between the two fail.
#define FRAMEWORK_API __attribute__((visibility("default")))
