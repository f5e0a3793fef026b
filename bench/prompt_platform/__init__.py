"""A platform that takes no time, and what it saw of the service when."""
