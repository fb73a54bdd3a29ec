// support/test_base.cpp : carries the precompiled headers of the tests; nothing else.
