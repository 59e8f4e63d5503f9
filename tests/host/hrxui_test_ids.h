// Templates of the UI library's tests, shared by the test and its resources.
#pragma once

#define IDD_HRXUI_PAGE 300
#define IDD_HRXUI_CHILD 301
