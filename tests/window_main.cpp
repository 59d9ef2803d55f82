// Starts the toolkit, on a display, for tests that open windows.
#include <cstdio>

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/init.h>

namespace zendro::tests {
namespace {

void fail_on_assert(const wxString& file, int line, const wxString&, const wxString& condition,
                    const wxString& message) {
  ADD_FAILURE() << file << ':' << line << ": " << condition << ' ' << message;
}

}  // namespace
}  // namespace zendro::tests

// What the desktop's libraries keep until the process ends is none of ours.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\nleak:libdbus-1\nleak:libglib-2.0\n";
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  wxSetAssertHandler(zendro::tests::fail_on_assert);
  wxApp::SetInstance(new wxApp);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  if (!wxEntryStart(argc, argv)) {
    std::fputs("These tests open windows: run them on a display, virtual or not.\n", stderr);
    return 1;
  }
  const int result = RUN_ALL_TESTS();
  wxEntryCleanup();
  return result;
}
