"""vora: de-embedding of port leads from multi-port S-parameters, on numpy arrays.

Frequencies are in Hz, shape (K,); S-parameters are complex arrays of shape (K, N, N) with
s[k, i, j] = S_ij (scikit-rf's convention; two-port files list 11 21 12 22).
"""

from ._vora import Error, deembed, generalized_sparam, read_touchstone, run

__all__ = ["Error", "deembed", "generalized_sparam", "read_touchstone", "run", "to_network"]


def to_network(frequencies, s, reference_resistance=50.0, name="vora"):
    """The S-parameters as a skrf.Network (scikit-rf must be installed)."""
    try:
        import skrf
    except ImportError as e:  # scikit-rf is never a hard dependency
        raise ImportError("vora.to_network needs scikit-rf (Debian: python3-scikit-rf)") from e
    frequency = skrf.Frequency.from_f(frequencies, unit="Hz")
    return skrf.Network(frequency=frequency, s=s, z0=reference_resistance, name=name)
