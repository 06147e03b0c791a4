// The shared test main (TestMain.cpp: skips reported as skipped, refused as
// root) with a QApplication, for the tests that make widgets or render text.
// Add this file to such a test's sources; the archive's main is then not linked.

#include <QApplication>

#define QCoreApplication QApplication
#include "TestMain.cpp"
