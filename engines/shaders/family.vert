// The vertex stage of the primitive families. FAMILY_OFFSET: billboards whose corners are pushed
// apart in view space; FAMILY_VIEW_SPACE: positions that are already in view space; TEX_TYPE:
// the texture coordinate's type.
in vec4 vertex;
in vec4 color;
in float idx;
#if FAMILY_OFFSET
in vec2 offset;
#endif
#if FAMILY_TEXTURED
in TEX_TYPE texCoord;
out TEX_TYPE tex;
#endif

uniform mat4 ModelViewMatrix;
uniform mat4 ProjectionMatrix;
uniform mat4 ScaleMatrix;
uniform vec3 NormalizeVec;
uniform float z_near;
uniform float z_far;
uniform float near_fade;
uniform float far_fade;

out vec4 fColor;
flat out float fIdx;

// A fade over [e0, e1]; a band of zero width is a hard edge.
float fadeStep(float e0, float e1, float x) {
    return e1 > e0 ? smoothstep(e0, e1, x) : step(e0, x);
}

void main() {
    fColor = color;
    fIdx = idx;
#if FAMILY_TEXTURED
    tex = texCoord;
#endif
#if FAMILY_VIEW_SPACE
    vec4 modelVert = vec4(vertex.xyz, 1.0);
#else
    vec4 modelVert = ModelViewMatrix * vec4(vertex.xyz / NormalizeVec, 1);
#endif
    float nearFactor = fadeStep(z_near, near_fade, abs(modelVert.z));
    float farFactor = 1.0 - fadeStep(far_fade, z_far, abs(modelVert.z));
    fColor.a *= min(nearFactor, farFactor);
#if FAMILY_OFFSET
    // Both offsets are divided by the x of NormalizeVec, which keeps billboards square.
    gl_Position = ProjectionMatrix * ScaleMatrix *
                  (modelVert + vec4(offset.x / NormalizeVec.x, offset.y / NormalizeVec.x, 0, 0));
#else
    gl_Position = ProjectionMatrix * ScaleMatrix * modelVert;
#endif
}
