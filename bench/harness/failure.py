"""What ends the run: a sentence that says what is wrong and what to do."""


class Failure(Exception):
    pass
