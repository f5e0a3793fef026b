"""Thousands of updates and a day's worth of signals: what a service holds must not grow."""
