#pragma once

namespace zerva {

/// Registers every platform class by name, once, so that NSClassFromString finds each of them
/// even before any instance exists.
void registerPlatformClasses();

}  // namespace zerva
