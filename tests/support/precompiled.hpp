#pragma once

// What nearly every test reads; compiled once. Never included by name.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/precompiled.hpp"
