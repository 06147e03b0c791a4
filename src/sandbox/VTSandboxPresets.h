#pragma once

#include <QtGlobal>

class VTSandboxBuilder;

// Ready-made sandboxes.
namespace VTSandboxPresets {

// A small system for trying the program by hand and for end-to-end tests:
// every kind in both access modes where it has them, plug-ins in groups up to
// three deep (also a numeric "2.0" folder and a ".localized" one), disabled
// plug-ins and a disabled group, several architectures and containers, XML
// and binary Info.plist files, UTF-8 and UTF-16 localisations, one Motion
// template per category, a folder holding ".fxfactory.plist", a bundle
// managed by it, entries the scan must pass over, Avid Symphony and
// Premiere Pro with their configuration, and Adobe folders "CS5" and "7.0".
void demo(VTSandboxBuilder &builder);

// `count` plug-ins spread evenly over the ten kinds, the access chosen at
// random where a kind has both, exactly count / 5 of them disabled, groups up
// to three levels deep (Motion templates count their category as the first),
// and every bundle with an Info.plist and a Mach-O executable (universal
// slices 256-byte aligned). The same seed gives the same sandbox.
void scaled(VTSandboxBuilder &builder, int count, quint32 seed);

} // namespace VTSandboxPresets
