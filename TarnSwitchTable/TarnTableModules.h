#pragma once
// The library's modules and their registration with the framework's registry.

namespace TarnSwitchTable {

// Registers every module of the library (its classes, their attributes and the tables'
// factories) once; later calls do nothing. The library does it when it is loaded; a program that
// reaches the tables only through the registry calls it too, which also links it to the library.
void registerModules();

}  // namespace TarnSwitchTable
