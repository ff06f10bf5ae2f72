#pragma once

// Lets the `count`-th call from now on in which this thread is concerned with a path below
// `folder`, and each one after it, fail with the error number `error`. `call` is "open", "write",
// "close", "rename" or "link", for renames that refuse to replace and for links; a null one lets
// the disk work again. Both texts have to live as long. For programs that are linked with
// ZelFailingDisk.c: it stands before the C library's own functions.
extern "C" void zelFailDisk(const char* call, int count, int error, const char* folder);
