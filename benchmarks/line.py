"""A line between clients and a server on the loopback interface, in a process of its own:  line.py SERVER_PORT DELAY

Bytes arrive DELAY milliseconds after they were sent, in both directions, and a new connection takes as long as a round
trip. Writes a line with its port. Every line on standard input is answered by the bytes that went over it so far, both
directions together. Ends with standard input."""

import asyncio
import collections
import os
import socket
import sys

BLOCK = 1 << 18


class Line:
    def __init__(self, server_port, delay):
        self._server_port = server_port
        self._delay = delay
        self.bytes = 0

    async def _carry(self, reader, writer):
        later = asyncio.get_running_loop().call_later
        under_way = collections.deque()
        try:
            while block := await reader.read(BLOCK):
                self.bytes += len(block)
                under_way.append(block)
                later(self._delay, lambda: writer.write(under_way.popleft()))
        except ConnectionError:
            pass
        later(self._delay, writer.close)

    async def connect(self, reader, writer):
        await asyncio.sleep(2 * self._delay)
        there, back = await asyncio.open_connection("127.0.0.1", self._server_port)
        for each in (writer, back):
            each.get_extra_info("socket").setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        await asyncio.gather(self._carry(reader, back), self._carry(there, writer))


async def main():
    line = Line(int(sys.argv[1]), float(sys.argv[2]) / 1000)
    server = await asyncio.start_server(line.connect, "127.0.0.1", 0)
    print(server.sockets[0].getsockname()[1], flush=True)
    loop = asyncio.get_running_loop()
    while await loop.run_in_executor(None, sys.stdin.readline):
        print(line.bytes, flush=True)
    os._exit(0)  # without a word about connections that are open


asyncio.run(main())
