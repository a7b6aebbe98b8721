// The mean of the stochastic passes, its alpha made exact: where the accumulated alpha is above
// zero the whole pixel is scaled by coverage / alpha, which takes the noise out where one or two
// layers cover a pixel.
in vec2 texCoord;
out vec4 outColor;
uniform sampler2D tAccumColor;
uniform sampler2D tTransmittance;

void main() {
    vec4 accum = texture(tAccumColor, texCoord);
    float coverage = texture(tTransmittance, texCoord).a;
    if (accum.a > 0.0) accum *= coverage / accum.a;
    outColor = accum;
}
