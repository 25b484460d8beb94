#pragma once

namespace test_options {

// True when the full figures are wanted (--long); otherwise a test keeps to a short form.
bool long_run();

} // namespace test_options
