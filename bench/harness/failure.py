"""An error that ends the run: a sentence that says what is wrong and how to fix it."""


class Failure(Exception):
    pass
