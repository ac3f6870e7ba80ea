// Asio and Beast are compiled once here instead of in every translation unit.
#include <utility>

#include <boost/asio/impl/src.hpp>
#include <boost/beast/src.hpp>
