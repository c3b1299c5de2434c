"""Makes the synthetic frames and the network of models/train.py."""
