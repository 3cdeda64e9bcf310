#pragma once

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>

namespace Mirel::Asio {

// The executor isn't type-erased, since every operation of every connection goes through it.
using Executor = boost::asio::io_context::executor_type;
using TcpSocket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Executor>;
using TcpListener = boost::asio::basic_socket_acceptor<boost::asio::ip::tcp, Executor>;
using SteadyTimer =
    boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                      boost::asio::wait_traits<std::chrono::steady_clock>, Executor>;

}  // namespace Mirel::Asio
