// The one function that the macOS sources use of this header, which the cross compiler does not bring.
#pragma once

#include <sys/ioctl.h>
#include <termios.h>

extern "C" int openpty(int* master, int* slave, char* name, struct termios* settings, struct winsize* size);
