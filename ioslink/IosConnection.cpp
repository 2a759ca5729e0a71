// Connection to the I/O server.
