#!/usr/bin/env bash
# How many tests ctest runs at a time: half as many again as there are cores, since about a third
# of the suites' time is spent waiting on real time (servers, devices, timers), not computing.
# TW_TEST_JOBS overrides.
echo "${TW_TEST_JOBS:-$(($(nproc) * 3 / 2))}"
