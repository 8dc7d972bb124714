"""The pieces of the side-by-side benchmark; bench/run puts them together."""
