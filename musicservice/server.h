// The socket side: the abstract name "musicservice", one framed request per
// connection. Many connections are served at once from one poll loop, none of them
// blocking: a client that stalls, sends half a frame or garbage holds up no other and is
// dropped after a short while.
#pragma once

// Binds and listens: the descriptor, or -1 with errno (EADDRINUSE when another
// instance holds the name).
int serverListen();

// Serves until stopFd becomes readable. 0, or -1 when polling fails for good.
int serverRun(int listenFd, int stopFd);
