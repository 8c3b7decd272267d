// Asio's definitions, for all files that include its headers (BOOST_ASIO_SEPARATE_COMPILATION).
#include <boost/asio/impl/src.hpp>
