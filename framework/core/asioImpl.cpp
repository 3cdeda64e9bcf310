// The part of asio that needs no template argument, compiled here once instead of in every file that uses it.
#include <boost/asio/impl/src.hpp>
