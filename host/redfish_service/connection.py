"""The server of the HTTP library, with answers of this service also to what is no request."""
from aiohttp import web

from messages import Refusal


def end_body(request):
    """Lets the reader of a body know that the rest of it does not come."""
    if not request.content.is_eof():
        request.content.set_exception(ConnectionResetError("the body is shorter than it says"))


class Connection(web.RequestHandler):
    """A client's connection."""

    __slots__ = ("ended",)  # whether the client sends no more

    def connection_made(self, transport):
        self.ended = False
        super().connection_made(transport)

    def eof_received(self):
        """The client sends no more, and may wait for the answer still; a body that has not come will not come."""
        if self._waiter is not None and not self._waiter.done():
            return None  # nothing is asked
        self.ended = True
        if self._current_request is not None:
            end_body(self._current_request)
        self.close()
        return True

    async def _handle_request(self, request, start_time, request_handler):
        if self.ended:  # before the handler began
            end_body(request)
        return await super()._handle_request(request, start_time, request_handler)

    def handle_error(self, request, status=500, exc=None, message=None):
        """What the library has found wrong: what is no HTTP, and faults of this service."""
        if status == 500:
            self.log_exception("Error handling request", exc_info=exc)
            refusal = Refusal(500, "InternalError")
        elif "method" in (message or "").lower():
            refusal = Refusal(501, "OperationNotAllowed")
        else:
            refusal = Refusal(400, "UnrecognizedRequestBody", resolution=message or "")
        answer = web.json_response(refusal.body, status=refusal.status, headers={"OData-Version": "4.0"})
        answer.force_close()
        return answer


class Server(web.Server):
    """Gives each request to the handler."""

    def __call__(self):
        return Connection(self, loop=self._loop, **self._kwargs)
