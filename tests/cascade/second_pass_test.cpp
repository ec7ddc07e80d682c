// placeholder purpose
#include <gtest/gtest.h>
