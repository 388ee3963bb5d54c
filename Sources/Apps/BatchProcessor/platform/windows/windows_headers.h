// The only door to the Windows headers. Where they lack a declaration, the file that calls it has its own.
#pragma once

#include <windows.h>
// windows.h comes first: the others need it.
#include <objbase.h>
#include <propidl.h>
#include <propsys.h>
#include <shellapi.h>
#include <shlobj.h>
#include <thumbcache.h>
#include <wincodec.h>
