from .measure import measure

__all__ = ["measure"]
