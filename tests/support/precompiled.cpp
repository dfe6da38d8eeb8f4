// SPDX-License-Identifier: MIT
// Holds the precompiled headers of the tests (tests/CMakeLists.txt names them).
