// Boost.Asio, compiled once. As headers alone every module would hold an "asio.misc" category of its own, and
// an end of file that the library reports would not equal the one that the program knows.
#include <boost/asio/impl/src.hpp>
