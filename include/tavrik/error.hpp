/**
 * @file
 * Reads the status code back from the text of an exception that the library threw.
 *
 * The text of a library failure ends in the marker "tavrik:" and a negative code, for example
 * "Message part index out of boundstavrik:-5". The text of a transport failure ends in
 * "zeromq:" and a positive composite code: the site of the failure in the high 16 bits, the error
 * number in the low 15 bits. Bit 15 marks one of ZeroMQ's own error numbers.
 */
#ifndef TAVRIK_ERROR_HPP
#define TAVRIK_ERROR_HPP

#include <tavrik/export.h>

#include <string>

extern "C" {

/**
 * Turns the text of a caught exception into a status code. May be called from any thread.
 * @param text what the exception's `what()` returned
 * @return the number after the first "tavrik:"; else the number after the first "zeromq:", made
 * negative; else -33
 */
TAVRIK_API int decode_error(const std::string& text);
}

#endif
