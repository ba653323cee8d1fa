class Error(RuntimeError):
    """A failure the library reported: its status, the function that
    reported it, the context of the report, and the status text."""

    def __init__(self, status, function, context, message, call=None):
        super().__init__(status, function, context, message, call)
        self.status = status
        self.function = function
        self.context = context
        self.message = message
        self.call = call or function

    def __str__(self):
        text = f"{self.function}: {self.message} (status {self.status})"
        if self.context:
            text += f": {self.context}"
        return text
